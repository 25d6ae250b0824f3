// The forms of QZDateFormatter, who shares which formatter, and what lies below: zones, calendars, JSON.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <thread>

#include "Platform/Foundation/NSNull.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"
#include "Platform/Text/NSCalendar.h"
#include "Platform/Text/NSDateFormatter.h"
#include "Platform/Text/NSISO8601DateFormatter.h"
#include "QZUtils/Extensions/DateDecodingStrategy/DateDecodingStrategy+FlexibleISO8601.h"
#include "QZUtils/Extensions/NSDate/NSDate+Canonical.h"
#include "QZUtils/Extensions/NSString/NSString+CanonicalDate.h"
#include "QZUtils/Markup/ISO8601DateFormatter.h"
#include "QZUtils/Markup/QZCanonicalDateFormatter.h"
#include "QZUtils/Markup/QZDateFormatter.h"

namespace qz::test {

constexpr double secondOfJanuary = 1577923200;  // 2020-01-02 00:00 GMT
constexpr double threeOClock = secondOfJanuary + 3 * 3600 + 4 * 60 + 5;

std::optional<double> seconds(const Ref<NSDate>& date) {
    return date ? std::optional(date->timeIntervalSince1970()) : std::nullopt;
}
Ref<NSDate> at(double time) {
    return NSDate::dateWithTimeIntervalSince1970(time);
}

/// The default time zone of a scope.
class InZone {
public:
    explicit InZone(const char* name) { NSTimeZone::setDefaultTimeZone(NSTimeZone::timeZoneWithName(name)); }
    ~InZone() { NSTimeZone::setDefaultTimeZone(nullptr); }
    InZone(const InZone&) = delete;
    InZone& operator=(const InZone&) = delete;
};

TEST(QZDateFormatter, ReadsItsForms) {
    const InZone vienna("Europe/Vienna");
    using Parse = Ref<NSDate> (QZDateFormatter::*)(Text) const;
    constexpr auto iso = &QZDateFormatter::dateFromISOFormattedString;
    constexpr auto zx = &QZDateFormatter::dateFromZXFormattedString;
    constexpr auto zxTime = &QZDateFormatter::dateTimeFromZXFormattedString;
    constexpr auto sent = &QZDateFormatter::dateTimeFromZXSentTimeFormattedString;
    constexpr auto rfc = &QZDateFormatter::dateFromRFC3339FormattedString;
    constexpr auto canonical = &QZDateFormatter::dateFromCanonicalFormattedString;
    constexpr auto iso8601 = &QZDateFormatter::dateFromISO8601FormattedString;
    struct Case {
        Parse parse;
        Text text;
        std::optional<double> time;
    };
    const Case cases[] = {
        {iso, "2020-01-02", secondOfJanuary - 3600},
        {iso, "2020-01-02T23:59:59Z", secondOfJanuary - 3600},
        {iso, "2020-01-0", {}},
        {iso, nullptr, {}},
        {zx, "2020-01-02T10:00:00Z", secondOfJanuary},
        {zx, "2020-1-2", {}},
        {zx, "2020-13-02", {}},
        {zx, "\xEF\xBC\x92\xEF\xBC\x90\xEF\xBC\x92\xEF\xBC\x90-01-02 and more",
         secondOfJanuary},  // fullwidth
        {zx, nullptr, {}},
        {zxTime, "2020-01-02 03:04:05.678 GMT", threeOClock},
        {zxTime, "2020-01-02_03:04:05", {}},
        {zxTime, "2020-01-02 03:04", {}},
        {sent, "02/01/2020 03:04:05 and more", threeOClock},
        {sent, "2020/01/02 03:04:05", {}},
        {rfc, "2020-01-02T03:04:05Z", threeOClock},
        {rfc, "2020-01-02T03:04:05Z ", {}},
        {rfc, "2020-01-02T03:04:05", threeOClock},  // ICU lets the last literal go
        {rfc, "2020-01-02T03:04", {}},
        {rfc, nullptr, {}},
        {canonical, "20200102", secondOfJanuary - 3600},
        {canonical, "2020-01-02", {}},
        {iso8601, "2020-01-02", secondOfJanuary},
        {iso8601, "2020-01-02T03:04:05Z", threeOClock},
        {iso8601, "2020-01-02T030405Z", threeOClock},
        {iso8601, "2020-01-02 03:04:05", threeOClock},
        {iso8601, "2020-01-02 03:04:05.250+01:00", threeOClock + 0.25 - 3600},
        {iso8601, "2020-01-02T03:04:05.25Z", threeOClock + 0.25},
        {iso8601, "2020-01-02T03:04:05-05:00", threeOClock + 5 * 3600},
        {iso8601, "2020-01-02T03:04:05-0500", threeOClock + 5 * 3600},
        {iso8601, "2020-01-02x03:04:05Z", {}},
        {iso8601, "2020-01-02T", {}},
        {iso8601, "2020-01-02T03:04:05Z.", {}},
        {iso8601, "20200102", {}},
        {iso8601, "", {}},
        {iso8601, nullptr, {}},
    };
    const auto& dates = *QZDateFormatter::instance();
    for (const auto& [parse, text, time] : cases) {
        EXPECT_EQ(seconds((dates.*parse)(text)), time) << text.valueOr("nil");
    }
}

TEST(QZDateFormatter, WritesItsForms) {
    const auto& dates = *QZDateFormatter::instance();
    const auto late = at(secondOfJanuary - 1800);
    {
        const InZone vienna("Europe/Vienna");
        EXPECT_EQ(dates.ISOFormattedStringFromDate(late), "2020-01-02");
        EXPECT_EQ(dates.canonicalFormattedStringFromDate(late), "20200102");
        EXPECT_EQ(canonicalString(late), "20200102");
        EXPECT_EQ(seconds(canonicalDate("20200102")), secondOfJanuary - 3600);
        EXPECT_EQ(dates.rfc3339FormattedStringFromDate(late), "2020-01-01T23:30:00Z");
    }
    const InZone newYork("America/New_York");
    EXPECT_EQ(send<std::string>(*late, "canonicalString"_sel), "20200101");
    EXPECT_EQ(canonicalString(late->timePoint()), "20200101");
    EXPECT_EQ(canonicalString(nullptr), "");
    EXPECT_EQ(canonicalDate("yesterday"), nullptr);
    EXPECT_EQ(dates.rfc3339FormattedStringFromDate(late), "2020-01-01T23:30:00Z");
    EXPECT_EQ(dates.rfc3339FormattedStringFromDate(nullptr), "");
    EXPECT_EQ(QZDateFormatter::iso8601DateFormatter()->stringFromDate(at(threeOClock + 0.123)),
              "2020-01-02T03:04:05.123Z");
    EXPECT_EQ(dates.dateToString(late), "2020-01-01 23:30:00 +0000");
    EXPECT_EQ(dates.dateToString(nullptr), "(null)");
    // The environment of the tests has no language: its locale is en_US_POSIX.
    EXPECT_EQ(dates.dateToString(late, "yMMMMd"), "January 1, 2020");
    EXPECT_EQ(seconds(dates.stringToDate("1.2.2020 0 Uhr", "d.M.yyyy H 'Uhr'")), 1580533200);
    EXPECT_EQ(QZDateFormatter::printDateFormatter()->stringFromDate(late), "Wednesday, January 1, 2020");
    EXPECT_EQ(QZDateFormatter::appDateFormatter()->stringFromDate(late), "Jan 1, 2020");
    EXPECT_EQ(QZDateFormatter::serverDateFormatter()->stringFromDate(late), "2020-01-01");
}

/// What a millisecond is in binary does not show: 0.123 is less than it was.
TEST(Dates, KeepEveryMillisecond) {
    const auto& formatter = ISO8601DateFormatter::shared();
    for (const auto* minute : {"1583-01-01T00:00:0", "2026-11-23T08:15:0", "9999-12-31T23:59:5"}) {
        for (int i = 10000; i < 20000; i += 7) {
            const auto number = std::to_string(i).substr(1);
            const auto text = minute + number.substr(0, 1) + "." + number.substr(1) + "Z";
            ASSERT_EQ(formatter->stringFromDate(formatter->dateFromString(text)), text);
        }
    }
}

TEST(QZDateFormatter, ReadsValuesAndTakesDays) {
    const auto dates = QZDateFormatter::init();
    EXPECT_EQ(seconds(dates->dateFromDictionaryValue(0)), 0);
    EXPECT_EQ(seconds(dates->dateFromDictionaryValue(1.5)), 1.5);
    EXPECT_EQ(seconds(dates->dateFromDictionaryValue(at(7))), 7);
    EXPECT_EQ(seconds(dates->dateFromDictionaryValue("2020-01-02T03:04:05Z")), threeOClock);
    for (const id& value : {id(), id("2020-01-02"), id(NSNull::null())}) {
        EXPECT_EQ(dates->dateFromDictionaryValue(value), nullptr);
        EXPECT_EQ(dates->dateOnlyFromDate(value), nullptr);
    }
    const InZone havana("America/Havana");
    EXPECT_EQ(dates->calendar()->calendarIdentifier(), "gregorian");
    EXPECT_EQ(seconds(dates->dateOnlyFromDate(at(threeOClock))), secondOfJanuary - 19 * 3600);
    // At one o'clock of 4 November 2012 it became midnight again, and of 1 April midnight was left out.
    EXPECT_EQ(seconds(dates->dateOnlyFromDate(at(1352035800))), 1352001600);
    EXPECT_EQ(seconds(dates->dateOnlyFromDate(at(1333303200))), 1333256400);
    const auto calendar = NSCalendar::calendarWithIdentifier("buddhist");
    calendar->setTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(3600));
    dates->setCalendar(calendar);
    EXPECT_EQ(seconds(dates->dateOnlyFromDate(at(threeOClock))), secondOfJanuary - 3600);
    EXPECT_EQ(calendar->components(NSCalendarUnit::Year | NSCalendarUnit::Weekday, at(0))->year(), 2513);
    EXPECT_EQ(NSCalendar::calendarWithIdentifier("no such"), nullptr);
}

class OffsetDateFormatter : public QZDateFormatter {
    QZ_OBJECT(OffsetDateFormatter, QZDateFormatter)
};
QZ_DEFINE_CLASS(OffsetDateFormatter, cls) {
    cls.classMethod("canonicalDateFormatter", [](Class&) {
        auto formatter = QZCanonicalDateFormatter::init();
        formatter->setDateFormat("yyyy.MM.dd");
        return formatter;
    });
}

TEST(QZDateFormatter, SharesItsFormatters) {
    const auto one = QZDateFormatter::init();
    const auto& other = QZDateFormatter::instance();
    EXPECT_EQ(other, QZDateFormatter::instance());
    EXPECT_EQ(one->dateFormatter(), other->dateFormatter());
    EXPECT_EQ(one->zxSentTimeFormatter(), other->zxSentTimeFormatter());
    EXPECT_EQ(one->NSISO8601DateFormatter(), other->NSISO8601DateFormatter());
    EXPECT_NE(one->zxDateFormatter(), one->dateFormatter());
    EXPECT_EQ(QZDateFormatter::serverDateFormatter(), QZDateFormatter::serverDateFormatter());
    EXPECT_NE(QZDateFormatter::posixDateFormatter(), QZDateFormatter::posixDateFormatter());
    EXPECT_EQ(QZDateFormatter::posixGMTDateFormatter()->timeZone()->secondsFromGMT(), 0);
    const auto common = QZDateFormatter::commonDateFormatter();
    EXPECT_EQ(common, QZDateFormatter::commonDateFormatter());
    std::thread([&] { EXPECT_NE(common, QZDateFormatter::commonDateFormatter()); }).join();
    // A class answers with its own.
    EXPECT_EQ(
        OffsetDateFormatter::init<OffsetDateFormatter>()->canonicalFormattedStringFromDate(at(threeOClock)),
        "2020.01.02");
    EXPECT_EQ(one->canonicalFormattedStringFromDate(at(threeOClock)), "20200102");
}

TEST(Dates, AreDecodedFromJSON) {
    const auto document = nlohmann::json::parse(R"({"day": "2020-01-02", "word": "soon", "number": 5})");
    const auto& strategy = DateDecodingStrategyClass::flexibleISO8601();
    EXPECT_EQ(seconds(strategy.decode(document.at("day"))), secondOfJanuary);
    EXPECT_EQ(seconds(document.at("day").get<Ref<NSDate>>()), secondOfJanuary);
    const auto failure = [&](const char* key) {
        try {
            static_cast<void>(strategy.decode(document.at(key)));
        } catch (const DecodingError& error) {
            return std::pair(error.kind(), error.debugDescription());
        }
        return std::pair(DecodingError::Kind::TypeMismatch, std::string());
    };
    EXPECT_EQ(failure("word"),
              std::pair(DecodingError::Kind::DataCorrupted, std::string("Cannot decode date string soon")));
    EXPECT_EQ(failure("number").first, DecodingError::Kind::TypeMismatch);
    EXPECT_THAT(failure("number").second, ::testing::HasSubstr("number"));
}

TEST(ISO8601, FollowsItsOptions) {
    using Options = NSISO8601DateFormatOptions;
    const auto formatter = NSISO8601DateFormatter::init();
    EXPECT_EQ(formatter->stringFromDate(at(threeOClock)), "2020-01-02T03:04:05Z");
    formatter->setTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(-12600));
    const struct {
        Options options;
        const char* text;
    } cases[] = {
        {Options::WithInternetDateTime, "2020-01-01T23:34:05-03:30"},
        {Options::WithInternetDateTime | Options::WithFractionalSeconds, "2020-01-01T23:34:05.500-03:30"},
        {Options::WithFullDate, "2020-01-01"},
        {Options::WithYear | Options::WithMonth | Options::WithDay, "20200101"},
        {Options::WithYear | Options::WithDay | Options::WithDashSeparatorInDate, "2020-001"},
        {Options::WithYear | Options::WithWeekOfYear | Options::WithDay | Options::WithDashSeparatorInDate,
         "2020-W01-3"},
        {Options::WithFullTime, "23:34:05-03:30"},
        {Options::WithTime, "233405"},
        {Options::WithFullDate | Options::WithTime | Options::WithTimeZone |
             Options::WithSpaceBetweenDateAndTime,
         "2020-01-01 233405-0330"},
    };
    for (const auto& [options, text] : cases) {
        formatter->setFormatOptions(options);
        EXPECT_EQ(formatter->stringFromDate(at(threeOClock + 0.5)), text);
        const auto date = formatter->dateFromString(text);
        ASSERT_TRUE(date) << text;
        EXPECT_EQ(formatter->stringFromDate(date), text);
    }
}

TEST(Formatters, FollowLocaleStyleAndZone) {
    const auto formatter = NSDateFormatter::init();
    formatter->setLocale(NSLocale::localeWithLocaleIdentifier("de_AT"));
    formatter->setTimeZoneName("GMT");
    formatter->setDateStyle(NSDateFormatterStyle::Full);
    EXPECT_EQ(formatter->stringFromDate(at(0)), "Donnerstag, 1. Jänner 1970");
    formatter->setLocalizedDateFormatFromTemplate("yMMMM");
    EXPECT_EQ(formatter->stringFromDate(at(0)), "Jänner 1970");
    formatter->setTimeStyle(NSDateFormatterStyle::Short);  // drops the pattern
    EXPECT_THAT(formatter->stringFromDate(at(0)), ::testing::StartsWith("Donnerstag, 1. Jänner 1970"));
    formatter->setLocale(NSLocale::localeWithLocaleIdentifier("th_TH"));
    formatter->setDateFormat("yyyy");
    EXPECT_EQ(formatter->stringFromDate(at(0)), "2513");
    formatter->setCalendar(NSCalendar::calendarWithIdentifier(NSCalendarIdentifierGregorian));
    EXPECT_EQ(formatter->stringFromDate(at(0)), "1970");
    formatter->setLocale(NSLocale::localeWithLocaleIdentifier("ar_EG"));
    formatter->setDateFormat("yyyy-MM-dd");
    EXPECT_EQ(formatter->stringFromDate(at(0)), "١٩٧٠-٠١-٠١");
    EXPECT_EQ(formatter->stringFromDate(at(std::nan(""))), "");
    EXPECT_EQ(formatter->stringFromDate(at(HUGE_VAL)), "");
    EXPECT_EQ(NSTimeZone::timeZoneWithName("Europe/Nowhere"), nullptr);
    EXPECT_EQ(NSTimeZone::timeZoneForSecondsFromGMT(86400), nullptr);
    EXPECT_EQ(NSTimeZone::timeZoneForSecondsFromGMT(-5445)->secondsFromGMT(), -5445);
}

/// Formatters of all, used by all at once, with the default zone changing below them.
TEST(Threads, ShareFormatters) {
    std::atomic<int> wrong = 0;
    const auto& dates = *QZDateFormatter::instance();
    const auto expect = [&](bool right) { wrong += right ? 0 : 1; };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            const std::string format = thread % 2 == 0 ? "yyyy/MM/dd HH" : "dd MMM yyyy HH 'GMT'";
            for (int i = 0; i < 300; ++i) {
                const auto time = threeOClock + 86400 * i;
                const auto text = dates.rfc3339FormattedStringFromDate(at(time));
                expect(seconds(dates.dateFromRFC3339FormattedString(text)) == time);
                expect(seconds(dates.dateFromISO8601FormattedString(text)) == time);
                expect(dates.dateFromISO8601FormattedString(text.substr(0, 10)) != nullptr);
                expect(dates.dateFromZXFormattedString(
                           "\xEF\xBC\x92\xEF\xBC\x90\xEF\xBC\x92\xEF\xBC\x90-01-02") !=
                       nullptr);  // one for ICU
                expect(dates.ISOFormattedStringFromDate(at(time)).size() == 10);
                expect(dates.dateOnlyFromDate(at(time)) != nullptr);
                const auto written = thread % 2 == 0 ? "2020/01/02 03" : "02 Jan 2020 03 GMT";
                expect(dates.stringToDate(written, format) != nullptr);
                if (thread == 0) {
                    NSTimeZone::setDefaultTimeZone(i % 2 == 0 ? NSTimeZone::timeZoneWithName("Asia/Tokyo")
                                                              : nullptr);
                }
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    NSTimeZone::setDefaultTimeZone(nullptr);
    EXPECT_EQ(wrong, 0);
}

}  // namespace qz::test
