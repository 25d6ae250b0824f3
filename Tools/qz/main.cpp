// qz: the library's facilities on the command line.
#include <CLI/CLI.hpp>
#include <iostream>

#include "Command.h"
#include "Platform/Foundation/DDLog.h"
#include "QZUtils/Version.h"
#include "Reference.h"

int main(int argc, char** argv) {
    CLI::App program("Toolbox of applications that read digital newspapers and magazines", "qz");
    program.set_version_flag("--version", "qz " + std::string(qz::libraryVersion()));
    program.require_subcommand(1);
    // Errors are one line of the command's own; the log is for those who want to know how it came.
    qz::DDLog::sharedInstance()->setConsoleLevel(qz::LogLevel::Off);
    program.add_flag_callback(
        "-v,--verbose", [] { qz::DDLog::sharedInstance()->setConsoleLevel(qz::LogLevel::Verbose); },
        "Log what happens to standard error");
    program.footer(
        "Exit status: 0 success, 1 failure with one line on standard error, 2 wrong usage, 130 interrupted.");
    // For the build, which installs what they print.
    const auto prints = [&](const char* flag, std::string (*text)(const CLI::App&)) {
        program
            .add_flag_callback(flag,
                               [&program, text] {
                                   std::cout << text(program);
                                   throw CLI::Success();
                               })
            ->trigger_on_parse()
            ->group("");
    };
    prints("--print-manual-page", qz::tool::manualPage);
    prints("--print-bash-completion", qz::tool::bashCompletion);
    qz::tool::addCat(program);
    qz::tool::addCiphers(program);
    qz::tool::addDate(program);
    qz::tool::addDevice(program);
    qz::tool::addDigest(program);
    qz::tool::addFetch(program);
    qz::tool::addInflate(program);
    qz::tool::addLocalize(program);
    qz::tool::addMarkup(program);
    qz::tool::addPlist(program);
    qz::tool::addReachability(program);
    qz::tool::addSqlite(program);
    qz::tool::addTree(program);
    qz::tool::addUnzip(program);
    qz::tool::addXML(program);
    qz::tool::addZip(program);
    try {
        program.parse(argc, argv);
        return qz::tool::success;
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? qz::tool::success : qz::tool::wrongUsage;
    } catch (const qz::tool::Failure& failure) {
        std::cerr << "qz: " << failure.what() << std::endl;
        return failure.status();
    } catch (const std::exception& error) {
        std::cerr << "qz: " << error.what() << std::endl;
        return qz::tool::failure;
    }
}
