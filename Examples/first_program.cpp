#include <QZUtils/QZUtils.h>

#include <iostream>

int main() {
    using namespace qz;
    const auto registry = QZSynchronizedMapTable::initWithKeyOptions(
        NSPointerFunctionsOptions::CopyIn, NSPointerFunctionsOptions::WeakMemory, "registry");
    id issue = "Monday's issue";
    (*registry)["/library/monday.zip"] = issue;
    std::cout << registry->count() << " live entry\n";  // 1
    issue = nullptr;                                    // nobody else holds it
    std::cout << registry->count() << " left\n";        // 0
    logWarning("closing %@ after %d issues", "the shelf", 1);
}
