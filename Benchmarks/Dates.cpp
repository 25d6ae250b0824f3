// Dates as text and back: the fixed forms beside ICU used directly and the C library, and what goes through
// ICU. A pass is a million dates of this century.
#include <benchmark/benchmark.h>
#include <unicode/smpdtfmt.h>

#include <ctime>
#include <string>
#include <vector>

#include "Platform/Text/NSDateFormatter.h"
#include "QZUtils/Markup/QZDateFormatter.h"

namespace {

constexpr int numberOfDates = 1'000'000;
constexpr const char* pattern = "yyyy-MM-dd'T'HH:mm:ss'Z'";
constexpr const char* patternOfC = "%Y-%m-%dT%H:%M:%SZ";

/// Times in seconds that lie a bit more than half an hour apart.
std::time_t timeOf(int i) {
    return 946684800 + std::time_t{i} * 1801;
}

std::string textOf(std::time_t time) {
    std::tm parts{};
    ::gmtime_r(&time, &parts);
    char text[32];
    return {text, std::strftime(text, sizeof text, patternOfC, &parts)};
}

const std::vector<std::string>& texts() {
    static const auto made = [] {
        std::vector<std::string> all;
        all.reserve(numberOfDates);
        for (int i = 0; i < numberOfDates; ++i) {
            all.push_back(textOf(timeOf(i)));
        }
        return all;
    }();
    return made;
}

template <class F>
void eachText(benchmark::State& state, F&& read) {
    const auto& all = texts();
    for (auto _ : state) {
        for (const auto& text : all) {
            benchmark::DoNotOptimize(read(text));
        }
    }
    state.SetItemsProcessed(state.iterations() * numberOfDates);
}
template <class F>
void eachTime(benchmark::State& state, F&& write) {
    for (auto _ : state) {
        for (int i = 0; i < numberOfDates; ++i) {
            benchmark::DoNotOptimize(write(timeOf(i)));
        }
    }
    state.SetItemsProcessed(state.iterations() * numberOfDates);
}

qz::Ref<qz::NSDateFormatter> formatterIn(const char* zone) {
    auto formatter = qz::NSDateFormatter::init();
    formatter->setDateFormat("yyyy-MM-dd");
    formatter->setTimeZoneName(zone);
    return formatter;
}

std::unique_ptr<icu::SimpleDateFormat> formatOfICU(const char* form, const char* zone) {
    UErrorCode error = U_ZERO_ERROR;
    auto format = std::make_unique<icu::SimpleDateFormat>(form, icu::Locale("en_US_POSIX"), error);
    format->adoptTimeZone(icu::TimeZone::createTimeZone(zone));
    format->setLenient(false);
    return format;
}

double readByICU(const icu::SimpleDateFormat& format, std::string_view text) {
    icu::ParsePosition end(0);
    return format.parse(
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int>(text.size()))), end);
}
std::string writeByICU(const icu::SimpleDateFormat& format, std::time_t time) {
    icu::UnicodeString units;
    std::string text;
    return format.format(static_cast<double>(time) * 1000, units).toUTF8String(text);
}

void parse(benchmark::State& state) {
    const auto& dates = qz::QZDateFormatter::instance();
    eachText(state, [&](const std::string& text) { return dates->dateFromRFC3339FormattedString(text); });
}
void parseVariablePrecision(benchmark::State& state) {
    const auto& dates = qz::QZDateFormatter::instance();
    eachText(state, [&](const std::string& text) { return dates->dateFromISO8601FormattedString(text); });
}
void parseByICU(benchmark::State& state) {
    const auto format = formatOfICU(pattern, "GMT");
    eachText(state, [&](const std::string& text) { return readByICU(*format, text); });
}
void parseByC(benchmark::State& state) {
    eachText(state, [](const std::string& text) {
        std::tm parts{};
        ::strptime(text.c_str(), patternOfC, &parts);
        return ::timegm(&parts);
    });
}
void parseLocalDay(benchmark::State& state) {
    const auto formatter = formatterIn("Europe/Vienna");
    eachText(state, [&](const std::string& text) {
        return formatter->dateFromString(std::string_view(text).substr(0, 10));
    });
}
void parseLocalDayByICU(benchmark::State& state) {
    const auto format = formatOfICU("yyyy-MM-dd", "Europe/Vienna");
    eachText(state, [&](const std::string& text) {
        return readByICU(*format, std::string_view(text).substr(0, 10));
    });
}

void print(benchmark::State& state) {
    const auto& dates = qz::QZDateFormatter::instance();
    eachTime(state, [&](std::time_t time) {
        return dates->rfc3339FormattedStringFromDate(
            qz::NSDate::dateWithTimeIntervalSince1970(static_cast<double>(time)));
    });
}
void printByICU(benchmark::State& state) {
    const auto format = formatOfICU(pattern, "GMT");
    eachTime(state, [&](std::time_t time) { return writeByICU(*format, time); });
}
void printByC(benchmark::State& state) {
    eachTime(state, &textOf);
}
void printLocalDay(benchmark::State& state) {
    const auto formatter = formatterIn("Europe/Vienna");
    eachTime(state, [&](std::time_t time) {
        return formatter->stringFromDate(
            qz::NSDate::dateWithTimeIntervalSince1970(static_cast<double>(time)));
    });
}
void printLocalDayByICU(benchmark::State& state) {
    const auto format = formatOfICU("yyyy-MM-dd", "Europe/Vienna");
    eachTime(state, [&](std::time_t time) { return writeByICU(*format, time); });
}

/// What changing the pattern for each call costs.
void parseWithFormatOfTheCall(benchmark::State& state) {
    const auto& dates = qz::QZDateFormatter::instance();
    bool other = false;
    eachText(state, [&](const std::string& text) {
        other = !other;
        return dates->stringToDate(text, other ? "yyyy-MM-dd'T'HH:mm:ss'Z'" : "yyyy-MM-dd'T'HH:mm:ssXX");
    });
}

BENCHMARK(parse)->Unit(benchmark::kMillisecond);
BENCHMARK(parseVariablePrecision)->Unit(benchmark::kMillisecond);
BENCHMARK(parseByICU)->Unit(benchmark::kMillisecond);
BENCHMARK(parseByC)->Unit(benchmark::kMillisecond);
BENCHMARK(parseLocalDay)->Unit(benchmark::kMillisecond);
BENCHMARK(parseLocalDayByICU)->Unit(benchmark::kMillisecond);
BENCHMARK(parseWithFormatOfTheCall)->Unit(benchmark::kMillisecond);
BENCHMARK(print)->Unit(benchmark::kMillisecond);
BENCHMARK(printByICU)->Unit(benchmark::kMillisecond);
BENCHMARK(printByC)->Unit(benchmark::kMillisecond);
BENCHMARK(printLocalDay)->Unit(benchmark::kMillisecond);
BENCHMARK(printLocalDayByICU)->Unit(benchmark::kMillisecond);

}  // namespace
