// Downloads every URL of a list at once. For Benchmarks/compare.
//
//     download_many DIRECTORY LIST
#include <fstream>
#include <iostream>

#include "Platform/Dispatch/NSRunLoop.h"
#include "Platform/Foundation/NSError.h"
#include "QZUtils/Download/QZDownload.h"

int main(int argc, char** argv) {
    using namespace qz;
    if (argc != 3) {
        return 2;
    }
    std::vector<Ref<QZPromise>> promises;
    std::ifstream list(argv[2]);
    for (std::string url; std::getline(list, url);) {
        const auto path = std::string(argv[1]) + url.substr(url.rfind('/'));
        promises.push_back(QZDownload::init()->downloadTo(path, {url}));
    }
    for (const auto& promise : promises) {
        if (!promise->wait() || !promise->isFulfilled()) {
            std::cerr << descriptionOf(promise->error()) << '\n';
            return 1;
        }
    }
}
