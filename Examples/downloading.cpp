// Fetches a file from the first of several mirrors that has it, and shows how far it is. Mirrors are usually
// on the web; a file of this machine is one too.
//
//     downloading [TARGET URL…]
#include <QZUtils/QZUtils.h>

#include <filesystem>
#include <fstream>
#include <iostream>

#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSURL.h"

using namespace qz;

namespace {

/// Where to, and from where, when nobody says.
std::vector<std::string> ownFile(const std::filesystem::path& directory) {
    const auto issue = directory / "monday.txt";
    std::ofstream(issue) << std::string(5'000'000, 'x');
    return {directory / "shelf/monday.txt", "file://" + (directory / "sunday.txt").string(),
            NSURL::fileURLWithPath(issue.string())->absoluteString()};
}

}  // namespace

int main(int argc, char** argv) {
    auto pattern = (std::filesystem::temp_directory_path() / "downloading-XXXXXX").string();
    const std::filesystem::path directory = ::mkdtemp(pattern.data());
    auto words = std::vector<std::string>(argv + 1, argv + argc);
    if (words.size() < 2) {
        words = ownFile(directory);
    }

    const auto download = QZDownload::init();
    download->setProgressBlock([](const Ref<QZDownload>& self) {
        std::cout << self->progress()->localizedAdditionalDescription() << '\n';
    });
    const auto promise = download->downloadTo(words[0], {words.begin() + 1, words.end()});
    const bool hasArrived = promise->wait() && promise->isFulfilled();
    if (hasArrived) {
        std::cout << words[0] << " has " << download->fileLength() << " bytes, from " << *download->url()
                  << '\n';
    } else {
        std::cout << "it did not come: " << promise->error()->localizedDescription() << '\n';
    }
    std::filesystem::remove_all(directory);
    return hasArrived ? 0 : 1;
}
