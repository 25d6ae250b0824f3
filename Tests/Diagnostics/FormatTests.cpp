// Formats: the C conversions beside the C library's own, objects, and formats that do not fit their
// arguments.
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdio>

#include "Platform/Foundation/Format.h"
#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSException.h"

namespace qz::test {

template <class... A>
std::string withSnprintf(const char* format, A... arguments) {
    std::vector<char> text(16384);
    const auto length = std::snprintf(text.data(), text.size(), format, arguments...);
    return {text.data(), static_cast<std::size_t>(length)};
}

template <class... A>
void expectAsInC(std::initializer_list<const char*> formats, A... arguments) {
    for (const char* format : formats) {
        EXPECT_EQ(stringWithFormat(format, arguments...), withSnprintf(format, arguments...)) << format;
    }
}

TEST(Format, PrintsWhatTheCLibraryPrints) {
    for (const int number : {0, 7, -7, 300, -70000, INT32_MAX, INT32_MIN}) {
        expectAsInC({"%d",   "%i|",  "%5d", "%-5d|", "%05d", "%+d", "% d", "%.3d", "%8.3d", "%-+8.3d|",
                     "%.0d", "%hhd", "%hd", "%x",    "%#X",  "%#o", "%u",  "%hhu", "%hx",   "100%% %d"},
                    number);
    }
    expectAsInC({"%ld", "%zd", "%jd", "%td", "%lx", "%20ld", "%-20lu|"}, -5000000000L);
    expectAsInC({"%lld", "%llu", "%qd", "%llX"}, -5000000000LL);
    expectAsInC({"%u", "%o", "%#x", "%d"}, 12345U);
    expectAsInC({"%lu", "%zu", "%lx"}, 18446744073709551615UL);
    for (const double number :
         {0.0, -0.0, 1.0, -2.5, 3.14159265, 1e300, 1e-300, 123456789.0, HUGE_VAL, -HUGE_VAL}) {
        expectAsInC({"%f", "%e", "%g", "%a", "%F", "%E", "%G", "%A", "%.2f", "%10.3f|", "%-10.1f|", "%+.0f",
                     "%#.0f", "%010.2f", "% g", "%.15g", "%.400f"},
                    number);
    }
    expectAsInC({"%Lf", "%.3Le", "%Lg"}, 2.5e4000L);
    expectAsInC({"%s", "%10s|", "%-10s|", "%.2s", "%10.2s|", "%.0s|"}, "text");
    expectAsInC({"%c", "%3c|", "%-3c|"}, 'x');
    expectAsInC({"%p", "%20p|", "%-20p|"}, static_cast<const void*>("somewhere"));
    expectAsInC({"%*d|%.*f", "%2$*1$d|"}, 6, 42, 3, 2.5);
    expectAsInC({"%*d|", "%0*d|"}, -6, 42);
    expectAsInC({"%2$s %1$s", "%1$s%1$s %2$5s"}, "a", "b");
    const char unterminated[] = {'a', 'b', 'c'};
    const char* start = unterminated;
    expectAsInC({"%.*s", "%.*s"}, 2, start);
}

TEST(Format, PrintsObjectsTextsAndNumbers) {
    enum class Colour { Red = 3 };
    const Ref<NSError> none;
    const auto error = NSError::errorWithDomain("Books", 4, nullptr);
    const std::pair<std::string, std::string> cases[] = {
        {stringWithFormat("%@", error), error->description()},
        {stringWithFormat("%@ %@ %@ %@", none, nullptr, id(), std::optional<int>()),
         "(null) (null) (null) (null)"},
        {stringWithFormat("%s %d", Text(), none), "(null) (null)"},
        {stringWithFormat("%@ %@", id("text"), id(2.5)), "text 2.5"},
        {stringWithFormat("%@", NSArray::arrayWithObjects({1, "a b"})), "(\n    1,\n    \"a b\"\n)"},
        {stringWithFormat("%@ %@ %@ %@", std::string("a"), std::string_view("b"), Text("c"), "d"), "a b c d"},
        {stringWithFormat("%@ %@ %@ %@ %@", 7, -7L, 0.1, true, Colour::Red), "7 -7 0.1 1 3"},
        {stringWithFormat("%@ %@", 'x', U'\U0001F600'), "x \U0001F600"},
        {stringWithFormat("%C%C", u'é', 0x4E2D), "é中"},
        {stringWithFormat("%@ %S %@", L"wé", std::u16string(u"\U0001F600"), u"\xD800!"),
         "wé \U0001F600 \uFFFD!"},
        {stringWithFormat("%@ %@", "open:"_sel, NSError::cls()), "open: NSError"},
        {stringWithFormat("%@", NSException("name", "reason")), "reason"},
        {stringWithFormat("%@", std::runtime_error("broken")), "broken"},
        {stringWithFormat("[%6@|%-6@|%.2@]", id("abc"), "abc", "abc"), "[   abc|abc   |ab]"},
        {stringWithFormat("%d %.1f %x", id(7), id(2.5), id(255)), "7 2.5 ff"},
        {stringWithFormat("%s", error), error->description()},
        {stringWithFormat("%s: %@: %i, %@", "raw", "text", id(-1), none), "raw: text: -1, (null)"},
    };
    for (const auto& [printed, expected] : cases) {
        EXPECT_EQ(printed, expected);
    }
}

TEST(Format, SurvivesFormatsThatDoNotFit) {
    const char* missingText = nullptr;
    const std::string wide(maximumFormatWidth - 1, ' ');
    const std::pair<std::string, std::string> cases[] = {
        {stringWithFormat("%s %d %@ %n|"), "(missing) (missing) (missing) |"},
        {stringWithFormat("%3$@ %0$d %99999999999999999999$d", 1, 2), "(missing) (missing) (missing)"},
        {stringWithFormat("%d", 1, 2, 3), "1"},
        {stringWithFormat("%n%d", 1, 2), "2"},
        {stringWithFormat("%s", missingText), "(null)"},
        {stringWithFormat("%d|%x|%f|%c|%.1f", "text", "text", "text", "text", "text"),
         "text|text|text|text|text"},
        {stringWithFormat("%s %d %5d|", 1, 2.5, id("t")), "1 2.5     t|"},
        {stringWithFormat("%f %.1e", 3, 20U), "3.000000 2.0e+01"},
        {stringWithFormat("%d %d %d", 5000000000L, true, 'A'), "5000000000 1 65"},
        {stringWithFormat("%d %ld", 18446744073709551615UL, -1), "18446744073709551615 -1"},
        {stringWithFormat("%lx", -1), "ffffffff"},
        {stringWithFormat("%p %p", nullptr, 5), "0x0 5"},
        {stringWithFormat("%*d", "wide", 5), "5"},
        {stringWithFormat("%.*f", -3, 2.5), "2.500000"},
        {stringWithFormat("%*d", 1 << 30, 5), wide + "5"},
        {stringWithFormat("%99999999999999999999d", 5), wide + "5"},
        {stringWithFormat("%", 1), "%"},
        {stringWithFormat("50% of %y %5", 1), "501f %y %5"},
        {stringWithFormat(std::string_view("%\0d %d", 6), 1), std::string("%\0d 1", 5)},
    };
    for (const auto& [printed, expected] : cases) {
        EXPECT_EQ(printed, expected);
    }
    EXPECT_EQ(stringWithFormat("%.2147483648f", 1.0).size(),
              static_cast<std::size_t>(maximumFormatWidth) + 2);
}

TEST(Format, IgnoresTheProcessLocale) {
    for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8"}) {
        if (std::setlocale(LC_ALL, name)) {
            EXPECT_EQ(stringWithFormat("%.1f %@ %'d", 2.5, 2.5, 1000000), "2.5 2.5 1000000");
        }
    }
    std::setlocale(LC_ALL, "C");
}

}  // namespace qz::test
