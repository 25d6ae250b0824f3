// qz date: every reading of a date text that the library knows.
#include <CLI/CLI.hpp>
#include <iostream>
#include <nlohmann/json.hpp>

#include "Command.h"
#include "Platform/Foundation/NSDate.h"
#include "Platform/Runtime/Class.h"
#include "Platform/Text/NSDateFormatter.h"
#include "QZUtils/Markup/ISO8601DateFormatter.h"
#include "QZUtils/Markup/QZCanonicalDateFormatter.h"
#include "QZUtils/Markup/QZDateFormatter.h"

namespace qz::tool {

namespace {

struct Reading {
    std::string formatter;
    std::string form;
    Ref<NSDate> date;
};

std::vector<Reading> readingsOf(const std::string& text) {
    const auto& dates = *QZDateFormatter::instance();
    const auto server = QZDateFormatter::serverDateFormatter();
    const auto app = QZDateFormatter::appDateFormatter();
    const auto print = QZDateFormatter::printDateFormatter();
    const auto zone = NSTimeZone::defaultTimeZone()->name();
    return {
        {"iso8601", "a day, or a day and a time of ISO 8601", dates.dateFromISO8601FormattedString(text)},
        {"rfc3339", "yyyy-MM-ddTHH:mm:ssZ", dates.dateFromRFC3339FormattedString(text)},
        {"iso8601-milliseconds", "yyyy-MM-ddTHH:mm:ss.SSSZ",
         QZDateFormatter::iso8601DateFormatter()->dateFromString(text)},
        {"zx-date", "yyyy-MM-dd…, GMT", dates.dateFromZXFormattedString(text)},
        {"zx-date-time", "yyyy-MM-dd HH:mm:ss…, GMT", dates.dateTimeFromZXFormattedString(text)},
        {"zx-sent-time", "dd/MM/yyyy HH:mm:ss…, GMT", dates.dateTimeFromZXSentTimeFormattedString(text)},
        {"iso-day", "yyyy-MM-dd…, " + zone, dates.dateFromISOFormattedString(text)},
        {"canonical", "yyyyMMdd, " + zone, dates.dateFromCanonicalFormattedString(text)},
        {"server", "yyyy-MM-dd, your locale, " + zone, server->dateFromString(text)},
        {"app", app->dateFormat() + ", your locale, " + zone, app->dateFromString(text)},
        {"print", print->dateFormat() + ", your locale, " + zone, print->dateFromString(text)},
    };
}

void showDate(const std::string& text, bool asJSON) {
    auto list = nlohmann::json::array();
    bool isRead = false;
    for (const auto& [formatter, form, date] : readingsOf(text)) {
        const auto time = ISO8601DateFormatter::shared()->stringFromDate(date);
        isRead = isRead || date;
        if (asJSON) {
            list.push_back(
                {{"formatter", formatter},
                 {"form", form},
                 {"date", date ? nlohmann::json(time) : nullptr},
                 {"secondsSince1970", date ? nlohmann::json(date->timeIntervalSince1970()) : nullptr}});
        } else if (date) {
            std::cout << time << "  " << formatter << " (" << form << ")\n";
        }
    }
    if (!isRead) {
        throw Failure("\"" + text + "\" is no date of a known form");
    }
    if (asJSON) {
        std::cout << list.dump(2) << "\n";
    }
    std::cout << std::flush;
}

}  // namespace

void addDate(CLI::App& program) {
    struct Options {
        std::string text;
        bool asJSON = false;
    };
    auto* command = program.add_subcommand(
        "date",
        "Print every reading of a date text, in GMT (your locale: LC_ALL, LC_TIME, LANG; your zone: TZ)");
    const auto options = std::make_shared<Options>();
    command->add_option("TEXT", options->text, "The text")->required();
    command->add_flag("--json", options->asJSON, "Print JSON, with the formatters that cannot read the text");
    command->callback([options] { showDate(options->text, options->asJSON); });
}

}  // namespace qz::tool
