// An application's first program: includes one header by the path that the tree uses, and calls into the
// library.
#include <QZUtils/QZUtils.h>

#include <iostream>

int main() {
    std::cout << qz::libraryVersion() << '\n';
}
