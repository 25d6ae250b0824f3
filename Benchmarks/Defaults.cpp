// What a setting costs in user defaults, beside the file of JSON that a program would otherwise read at its
// start and rewrite at every change. Both hold the same settings; the argument is how many.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>

#include "Platform/Foundation/NSUserDefaults.h"

namespace qz {

namespace {

/// A configuration directory with the settings in both forms.
class Settings {
public:
    explicit Settings(std::int64_t count) {
        auto pattern = (std::filesystem::temp_directory_path() / "qz-defaults-XXXXXX").string();
        directory_ = ::mkdtemp(pattern.data());
        ::setenv("XDG_CONFIG_HOME", directory_.c_str(), 1);
        const auto defaults = suite();
        nlohmann::json json;
        defaults->performTransaction([&] {
            for (std::int64_t number = 0; number < count; ++number) {
                const auto name = "setting number " + std::to_string(number);
                defaults->setObjectForKey(number, name);
                json[name] = number;
            }
        });
        std::ofstream(file()) << json;
    }
    Settings(const Settings&) = delete;
    Settings& operator=(const Settings&) = delete;
    ~Settings() { std::filesystem::remove_all(directory_); }

    [[nodiscard]] static Ref<NSUserDefaults> suite() { return NSUserDefaults::initWithSuiteName("suite"); }
    [[nodiscard]] std::filesystem::path file() const { return directory_ / "settings.json"; }
    [[nodiscard]] nlohmann::json json() const {
        std::ifstream stream(file());
        return nlohmann::json::parse(stream);
    }

    static constexpr const char* key = "setting number 7";

private:
    std::filesystem::path directory_;
};

void openSuiteAndRead(benchmark::State& state) {
    const Settings settings(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Settings::suite()->integerForKey(Settings::key));
    }
}
BENCHMARK(openSuiteAndRead)->Arg(10)->Arg(1000);

void readJSONFile(benchmark::State& state) {
    const Settings settings(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(settings.json()[Settings::key].get<std::int64_t>());
    }
}
BENCHMARK(readJSONFile)->Arg(10)->Arg(1000);

/// Sees what other processes have written, which a parsed file does not.
void readOpenSuite(benchmark::State& state) {
    const Settings settings(state.range(0));
    const auto suite = Settings::suite();
    for (auto _ : state) {
        benchmark::DoNotOptimize(suite->integerForKey(Settings::key));
    }
}
BENCHMARK(readOpenSuite)->Arg(10)->Arg(1000);

void writeOpenSuite(benchmark::State& state) {
    const Settings settings(state.range(0));
    const auto suite = Settings::suite();
    std::int64_t value = 0;
    for (auto _ : state) {
        suite->setObjectForKey(++value, Settings::key);
    }
}
BENCHMARK(writeOpenSuite)->Arg(10)->Arg(1000);

/// Beside the file and renamed. Neither this nor the write to the suite asks for a flush, but many file
/// systems begin one at such a rename.
void rewriteJSONFile(benchmark::State& state) {
    const Settings settings(state.range(0));
    auto json = settings.json();
    const auto beside = settings.file().string() + "~";
    std::int64_t value = 0;
    for (auto _ : state) {
        json[Settings::key] = ++value;
        std::ofstream(beside) << json;
        std::filesystem::rename(beside, settings.file());
    }
}
BENCHMARK(rewriteJSONFile)->Arg(10)->Arg(1000);

}  // namespace
}  // namespace qz
