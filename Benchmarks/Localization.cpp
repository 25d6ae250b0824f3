// A text in the user's language, once tables are loaded, beside gettext's own look-up in the same language.
#include <benchmark/benchmark.h>
#include <libintl.h>
#include <unistd.h>

#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "QZUtils/Device/QZNSBundle.h"

namespace {

constexpr int numberOfTexts = 1000;

/// Both tables hold the same texts: ours as a bundle, gettext's as a catalogue made by msgfmt.
struct Tables {
    Tables() {
        auto pattern = (std::filesystem::temp_directory_path() / "qz-texts-XXXXXX").string();
        directory = ::mkdtemp(pattern.data());
        const auto catalogue = directory / "de/LC_MESSAGES";
        std::filesystem::create_directories(catalogue);
        std::filesystem::create_directories(directory / "QuillmarkResources.bundle/de.lproj");
        std::ofstream strings(directory / "QuillmarkResources.bundle/de.lproj/Localizable.strings");
        std::ofstream messages(directory / "texts.po");
        messages << "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n";
        for (int i = 0; i < numberOfTexts; ++i) {
            strings << "\"QZ.iPad.Title" << i << "\" = \"Die Nummer " << i << " des Tages\";\n";
            messages << "msgid \"QZ.iPad.Title" << i << "\"\nmsgstr \"Die Nummer " << i << " des Tages\"\n";
        }
        strings.close();
        messages.close();
        const auto command = "msgfmt -o '" + (catalogue / "texts.mo").string() + "' '" +
                             (directory / "texts.po").string() + "'";
        hasCatalogue = std::system(command.c_str()) == 0;
        ::setenv("LC_ALL", "C.UTF-8", 1);
        ::setenv("LANGUAGE", "de", 1);
        std::setlocale(LC_ALL, "");
        ::bindtextdomain("texts", directory.c_str());
        ::textdomain("texts");
        ::setenv("LC_ALL", "de_DE.UTF-8", 1);  // whether or not the C library has it
        qz::NSBundle::setMainBundle(qz::NSBundle::bundleWithPath(directory.string()));
    }
    ~Tables() { std::filesystem::remove_all(directory); }

    std::filesystem::path directory;
    bool hasCatalogue = false;
};

const Tables& tables() {
    static const Tables made;
    return made;
}

void localizedString(benchmark::State& state) {
    static_cast<void>(tables());
    for (auto _ : state) {
        benchmark::DoNotOptimize(qz::QZNSBundle::localizedStringForKey("QZ.iPad.Title500"));
    }
    state.SetLabel(qz::QZNSBundle::localizedStringForKey("QZ.iPad.Title500").value_or(""));
}
BENCHMARK(localizedString);

void gettextString(benchmark::State& state) {
    static_cast<void>(tables());
    for (auto _ : state) {
        benchmark::DoNotOptimize(::gettext("QZ.iPad.Title500"));
    }
    state.SetLabel(tables().hasCatalogue ? ::gettext("QZ.iPad.Title500") : "no msgfmt");
}
BENCHMARK(gettextString);

}  // namespace
