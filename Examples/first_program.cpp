#include <QZUtils/QZUtils.h>

#include <iostream>

// Brings an issue of a newspaper from the first mirror that has it to a directory of pages.
int main(int argc, char** argv) {
    using namespace qz;
    if (argc < 2) {
        std::cout << "usage: first_program URL...\n";
        return 0;
    }
    const auto issue = deliver(
        {.file = "shelf/monday.zip", .mirrors = {argv + 1, argv + argc}, .directory = "shelf/monday"});
    if (issue->wait() && issue->isFulfilled()) {
        std::cout << "The pages are in " << descriptionOf(issue->value()) << ".\n";
        return 0;
    }
    std::cerr << issue->error()->localizedDescription() << '\n';
    return 1;
}
