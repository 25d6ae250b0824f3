// qz zip: an archive of files, or of what is in one directory.
#include <CLI/CLI.hpp>
#include <filesystem>

#include "Command.h"
#include "Platform/Foundation/NSError.h"
#include "QZUtils/QZUnzip/SSZipArchive.h"

namespace qz::tool {

namespace {

void zip(const std::string& archive, const std::vector<std::string>& paths) {
    namespace fs = std::filesystem;
    const bool isDirectory = paths.size() == 1 && fs::is_directory(paths.front());
    for (const auto& path : paths) {
        if (!isDirectory && fs::is_directory(path)) {
            throw Failure("\"" + path + "\" is a directory: give files, or one directory alone", wrongUsage);
        }
    }
    Ref<NSError> error;
    if (!(isDirectory
              ? SSZipArchive::createZipFileAtPathWithContentsOfDirectory(archive, paths.front(), &error)
              : SSZipArchive::createZipFileAtPathWithFilesAtPaths(archive, paths, &error))) {
        throw Failure("the archive is not complete: " + error->localizedDescription());
    }
}

}  // namespace

void addZip(CLI::App& program) {
    struct Options {
        std::string archive;
        std::vector<std::string> paths;
    };
    auto* command = program.add_subcommand("zip", "Create a zip archive");
    const auto options = std::make_shared<Options>();
    command->add_option("ARCHIVE", options->archive, "The archive, which is replaced if it exists")
        ->required();
    command
        ->add_option("PATH", options->paths,
                     "Files, each stored under its name without a directory; or one directory, whose files "
                     "are stored under their paths in it")
        ->required();
    command->callback([options] { zip(options->archive, options->paths); });
}

}  // namespace qz::tool
