// Prints the version of the library it runs with.
#include <QZUtils/QZUtils.h>

#include <iostream>

int main() {
    std::cout << "QZUtils " << qz::libraryVersion() << '\n';
    return std::cout.flush() ? 0 : 1;
}
