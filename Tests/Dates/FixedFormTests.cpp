// Fixed forms beside ICU's own formatter: whatever the direct routine does must be what ICU does.
#include <gmock/gmock.h>
#include <unicode/smpdtfmt.h>

#include <random>

#include "Platform/Text/NSDateFormatter.h"
#include "Platform/Text/NSISO8601DateFormatter.h"

namespace qz::test {

struct Form {
    const char* pattern;
    const char* zone;
};

constexpr Form forms[] = {
    {"yyyy-MM-dd", "GMT"},
    {"yyyy-MM-dd", "Europe/Vienna"},
    {"yyyy-MM-dd", "America/Havana"},              // changes its clocks at midnight
    {"yyyy-MM-dd'T'HH:mm:ss", "Pacific/Apia"},     // left out a day
    {"yyyy-MM-dd'T'HH:mm:ss", "Africa/Monrovia"},  // was 44 minutes and 30 seconds behind
    {"yyyy-MM-dd'T'HH:mm:ss", "Australia/Lord_Howe"},
    {"yyyyMMdd", "Asia/Tokyo"},
    {"yyyyMMddHHmmssSSS", "GMT"},
    {"yyyy'-'MM'-'dd' 'HH':'mm':'ss", "GMT"},
    {"dd'/'MM'/'yyyy' 'HH':'mm':'ss", "GMT"},
    {"yyyy'-'MM'-'dd'T'HH':'mm':'ss'Z'", "GMT"},
    {"yyyy-MM-dd'T'HH:mm:ss.SSS'Z'", "GMT"},
    {"yyyy-MM-dd'T'HH:mm:ssXX", "GMT"},
    {"yyyy-MM-dd HH:mm:ss.SSSXX", "Asia/Kolkata"},
    {"yyyy-MM-dd'T'HH:mm:ssXXX", "America/St_Johns"},
    {"yyyyMMdd'T'HHmmssXX", "GMT"},
    {"yyyy''MM''dd", "GMT"},
    {"yyyy'-''/'MM-dd", "GMT"},
};

/// A form with our formatter and with ICU's.
class Both {
public:
    explicit Both(const Form& form) : ours_(NSDateFormatter::init()) {
        UErrorCode error = U_ZERO_ERROR;
        theirs_ = std::make_unique<icu::SimpleDateFormat>(form.pattern, icu::Locale("en_US_POSIX"), error);
        theirs_->adoptTimeZone(icu::TimeZone::createTimeZone(form.zone));
        theirs_->setLenient(false);
        ours_->setDateFormat(form.pattern);
        ours_->setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
        ours_->setTimeZoneName(form.zone);
    }

    [[nodiscard]] std::string theirText(double milliseconds) const {
        icu::UnicodeString units;
        std::string text;
        return theirs_->format(milliseconds, units).toUTF8String(text);
    }
    [[nodiscard]] std::string ourText(double milliseconds) const {
        return ours_->stringFromDate(NSDate::dateWithTimeIntervalSince1970(milliseconds / 1000));
    }
    [[nodiscard]] std::optional<double> theirTime(std::string_view text) const {
        const auto units = icu::UnicodeString::fromUTF8(
            icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
        icu::ParsePosition end(0);
        const auto time = theirs_->parse(units, end);
        const bool isWhole = end.getErrorIndex() < 0 && end.getIndex() == units.length() && !text.empty();
        return isWhole ? std::optional(time) : std::nullopt;
    }
    [[nodiscard]] std::optional<double> ourTime(std::string_view text) const {
        const auto date = ours_->dateFromString(text);
        return date ? std::optional(std::round(date->timeIntervalSince1970() * 1000)) : std::nullopt;
    }

private:
    Ref<NSDateFormatter> ours_;
    std::unique_ptr<icu::SimpleDateFormat> theirs_;
};

class Chance {
public:
    std::int64_t between(std::int64_t first, std::int64_t last) {
        return std::uniform_int_distribution(first, last)(engine_);
    }
    /// A whole millisecond of the years 1 to 9999, every other one of our times, many near a midnight.
    double time() {
        auto time = between(0, 1) != 0 ? between(-2'208'988'800'000, 4'102'444'800'000)
                                       : between(-62'135'596'800'000, 253'402'300'799'999);
        if (between(0, 2) == 0) {
            time -= time % 86'400'000 + between(-7'200'000, 7'200'000) / 1'800'000 * 1'800'000;
        }
        return static_cast<double>(time);
    }
    template <class T>
    const T& of(const std::vector<T>& choices) {
        return choices[static_cast<std::size_t>(between(0, static_cast<std::int64_t>(choices.size()) - 1))];
    }

private:
    std::mt19937_64 engine_{20261123};
};

TEST(FixedForms, AreReadAndWrittenAsByICU) {
    Chance chance;
    for (const auto& form : forms) {
        const Both both(form);
        for (int i = 0; i < 6000; ++i) {
            const auto time = chance.time();
            const auto text = both.theirText(time);
            ASSERT_EQ(both.ourText(time), text) << form.pattern << " " << form.zone << " " << time;
            ASSERT_EQ(both.ourTime(text), both.theirTime(text))
                << form.pattern << " " << form.zone << " " << text;
        }
    }
}

TEST(FixedForms, AreRefusedOrUnderstoodAsByICUWhereTextsAreBroken) {
    Chance chance;
    const std::vector<std::string> pieces = {"",
                                             " ",
                                             "  ",
                                             "\t",
                                             "0",
                                             "00",
                                             "9",
                                             "-",
                                             "+",
                                             "-5",
                                             ".",
                                             ":",
                                             "T",
                                             "t",
                                             "Z",
                                             "z",
                                             "24",
                                             "60",
                                             "59",
                                             "31",
                                             "30",
                                             "29",
                                             "02",
                                             "13",
                                             "1582",
                                             "0000",
                                             "123456",
                                             "Z ",
                                             "+01",
                                             "+0100",
                                             "+01:00",
                                             "-05:00",
                                             "-0500",
                                             "+1:00",
                                             "+24:00",
                                             "+15:59",
                                             "+010000",
                                             "GMT",
                                             "\xD9\xA2",
                                             "\xEF\xBC\x92",
                                             "\xE2\x88\x92",
                                             "\xC2\xA0",
                                             "\xFF",
                                             "'",
                                             std::string(1, '\0')};
    int read = 0;
    for (const auto& form : forms) {
        const Both both(form);
        for (int i = 0; i < 8000; ++i) {
            auto text = both.theirText(chance.time());
            for (auto changes = chance.between(1, 2); changes > 0; --changes) {
                const auto size = static_cast<std::int64_t>(text.size());
                const auto at = static_cast<std::size_t>(chance.between(0, size));
                const auto length = static_cast<std::size_t>(chance.between(0, 2) + chance.between(0, 2));
                text.replace(at, length, chance.of(pieces));
            }
            const auto time = both.theirTime(text);
            ASSERT_EQ(both.ourTime(text), time) << form.pattern << " " << form.zone << " " << text;
            read += time ? 1 : 0;
        }
    }
    EXPECT_GT(read, 5000);  // the texts are not all nonsense
}

/// Every number in its two digits, in its place.
TEST(FixedForms, KnowTheRangesOfTheirNumbers) {
    const Both both({"yyyy-MM-dd'T'HH:mm:ssXX", "GMT"});
    for (const auto* year : {"0000", "0001", "1500", "1582", "1583", "1900", "2000", "2023", "9999"}) {
        for (int month = 0; month <= 13; ++month) {
            for (int day = 0; day <= 32; ++day) {
                const auto text = std::string(year) + "-" + std::to_string(100 + month).substr(1) + "-" +
                                  std::to_string(100 + day).substr(1) + "T00:00:00Z";
                ASSERT_EQ(both.ourTime(text), both.theirTime(text)) << text;
            }
        }
    }
    for (int number = 0; number < 100; ++number) {
        const auto digits = std::to_string(100 + number).substr(1);
        for (const auto& text : {"2016-12-31T" + digits + ":00:00Z", "2016-12-31T23:" + digits + ":00Z",
                                 "2016-12-31T23:59:" + digits + "Z", "2016-12-31T23:59:00+" + digits + "00",
                                 "2016-12-31T23:59:00-" + digits + ":30", "2016-12-31T23:59:00-01" + digits,
                                 "2016-12-31T23:59:00+01:" + digits}) {
            ASSERT_EQ(both.ourTime(text), both.theirTime(text)) << text;
        }
    }
}

}  // namespace qz::test
