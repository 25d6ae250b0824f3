// The event parser: what is reported, in which pieces, and what ends a parse.
#include <gmock/gmock.h>
#include <unistd.h>

#include <fstream>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Text/NSXMLParser.h"
#include "Platform/Text/NSXMLParserDelegate.h"

namespace qz::test {

using namespace std::string_literals;
using testing::HasSubstr;

/// Writes the events down in a notation of its own: <a x=1> </a> 'run' [cdata] !code.
class Scribe : public NSObject {
    QZ_OBJECT(Scribe, NSObject)
public:
    std::vector<std::string> events;
    std::function<void(NSXMLParser&)> onText;

    void parserDidStartElement(const Ref<NSXMLParser>&, std::string_view name, Text uri, Text qualifiedName,
                               const Ref<NSDictionary>& attributes) {
        std::string event = "<" + std::string(name);
        for (const auto& [key, value] : *attributes) {
            event += " " + descriptionOf(key) + "=" + descriptionOf(value);
        }
        events.push_back(event + (uri || qualifiedName ? " namespace" : "") + ">");
    }
    void parserDidEndElement(const Ref<NSXMLParser>&, std::string_view name, Text, Text) {
        events.push_back("</" + std::string(name) + ">");
    }
    void parserFoundCharacters(const Ref<NSXMLParser>& parser, std::string_view run) {
        events.push_back("'" + std::string(run) + "'");
        if (onText) {
            onText(*parser);
        }
    }
    void parserFoundCDATA(const Ref<NSXMLParser>&, const NSData& section) {
        events.push_back("[" + std::string(section.text()) + "]");
    }
    void parserParseErrorOccurred(const Ref<NSXMLParser>&, const Ref<NSError>& error) {
        events.push_back("!" + std::to_string(error->code()));
    }
};

QZ_DEFINE_CLASS(Scribe, cls) {
    cls.adopts<NSXMLParserDelegate>();
}

struct Parsed {
    std::string events;
    Ref<NSError> error;
    std::int64_t line = 0;
    std::int64_t column = 0;
};

Parsed parse(std::string_view document, const std::function<void(NSXMLParser&)>& onText = nullptr) {
    const auto scribe = make<Scribe>();
    scribe->onText = onText;
    const auto parser = NSXMLParser::initWithData(NSData::dataWithText(document));
    parser->setDelegate(scribe);
    const bool succeeded = parser->parse();
    EXPECT_EQ(succeeded, parser->parserError() == nullptr);
    std::string events;
    for (const auto& event : scribe->events) {
        events += event;
    }
    return {events, parser->parserError(), parser->lineNumber(), parser->columnNumber()};
}

std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

TEST(XMLParser, ReportsTheDocumentInItsOrder) {
    const auto longText = repeated("va \u00E0 Paris, ", 1000);
    const std::pair<std::string, std::string> cases[] = {
        {"<a x='1' y=\"&lt;2\"><b/>t</a>", "<a x=1 y=<2><b></b>'t'</a>"},
        {"<a>Tom &amp; Jerry</a>", "<a>'Tom ''&'' Jerry'</a>"},
        {"<a>&#65;&#x42;</a>", "<a>'A''B'</a>"},
        {"<a>a;b&lt;c;d&gt;</a>", "<a>'a;b''<''c;d''>'</a>"},
        {"<a>" + longText + "</a>", "<a>'" + longText + "'</a>"},
        {"<a>one\r\ntwo\rthree\n</a>", "<a>'one\ntwo\nthree\n'</a>"},
        {"<a>x<!-- c -->y<?i?>z</a>", "<a>'x''y''z'</a>"},
        {"<a>x<![CDATA[<&> y]]>z</a>", "<a>'x'[<&> y]'z'</a>"},
        {"<p:a xmlns:p='u' p:x='1' xmlns='v'/>", "<p:a xmlns:p=u xmlns=v p:x=1></p:a>"},
        {"<p:a q:x='1'/>", "<p:a q:x=1></p:a>"},  // prefixes that nobody declared
        {"<!DOCTYPE a [<!ENTITY e 'va \u00E0 Paris'><!ATTLIST a d CDATA 'v'>]><a>x&e;y</a>",
         "<a d=v>'x''va \u00E0 Paris''y'</a>"},
        {"<!DOCTYPE a [<!ENTITY e '1<b>2</b>'>]><a x='1'>&e;&e;</a>",
         "<a x=1>'1'<b>'2'</b>'1'<b>'2'</b></a>"},
    };
    for (const auto& [document, events] : cases) {
        EXPECT_EQ(parse(document).events, events) << document.substr(0, 100);
    }
}

TEST(XMLParser, ReadsDeclaredEncodings) {
    const auto declared = [](const char* encoding, const std::string& text) {
        return "<?xml version='1.0' encoding='" + std::string(encoding) + "'?><a>" + text + "</a>";
    };
    const auto utf16 = [](std::u16string_view text) {
        return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
    };
    const std::pair<std::string, const char*> cases[] = {
        {declared("UTF-8", "\u00FC"), "\u00FC"},       {"\xEF\xBB\xBF<a>\u00FC</a>", "\u00FC"},
        {declared("ISO-8859-1", "\xFC"), "\u00FC"},    {declared("ISO-8859-15", "\xA4"), "\u20AC"},
        {declared("windows-1252", "\x80"), "\u20AC"},  {declared("KOI8-R", "\xC1"), "\u0430"},
        {declared("Shift_JIS", "\x82\xA0"), "\u3042"}, {declared("GB18030", "\xD6\xD0"), "\u4E2D"},
        {declared("US-ASCII", "&#252;"), "\u00FC"},    {utf16(u"\uFEFF<a>\u00FC</a>"), "\u00FC"},
    };
    for (const auto& [document, text] : cases) {
        EXPECT_EQ(parse(document).events, "<a>'" + std::string(text) + "'</a>") << document;
    }
    EXPECT_EQ(parse(declared("no-such", "x")).error->code(), 32);
    EXPECT_EQ(parse(declared("UTF-8", "\xFC")).events, "<a>!9");
}

TEST(XMLParser, EndsWithTheFirstError) {
    struct Case {
        std::string document;
        std::string events;
        std::int64_t line;
    };
    const Case cases[] = {
        {"", "!4", 0},
        {" \n ", "!4", 2},
        {"hello", "!4", 1},
        {"\0\0\0\0"s, "!4", 1},
        {"<a>\ntext", "<a>'\ntext'!77", 2},
        {"<a>\n<b></a>", "<a>'\n'<b>!76", 2},
        {"<a>1</a><b/>", "<a>'1'</a>!5", 1},
        {"<a x='1' x='2'/>", "!42", 1},
        {"<a>&nope;</a>", "<a>!26", 1},
        {"<a>x\0y</a>"s, "<a>'x'!9", 1},
        {"<a>x &</a>", "<a>'x '!68", 1},
    };
    for (const auto& [document, events, line] : cases) {
        const auto parsed = parse(document);
        EXPECT_EQ(parsed.events, events) << document;
        EXPECT_EQ(parsed.line, line) << document;
        EXPECT_FALSE(parsed.error->localizedDescription().ends_with('\n'));
    }
    EXPECT_EQ(parse("<a>\n  <b></a>").column, 10);
}

TEST(XMLParser, DoesNoHarmWithHostileDocuments) {
    std::string laughs = "<!DOCTYPE a [<!ENTITY l0 'ha'>";
    std::string parameters = "<!DOCTYPE a [<!ENTITY % p0 'ha'>";
    for (int i = 1; i < 30; ++i) {
        const auto n = std::to_string(i);
        const auto previous = std::to_string(i - 1);
        laughs += "<!ENTITY l" + n + " '" + repeated("&l" + previous + ";", 10) + "'>";
        parameters += "<!ENTITY % p" + n + " '" + repeated("&#37;p" + previous + ";", 10) + "'>";
    }
    const auto secret = testing::TempDir() + "qz-secret-" + std::to_string(::getpid());
    std::ofstream(secret) << "<!ENTITY e 'secret'>secret";
    const auto external = [&](const std::string& declarations, const char* body) {
        return "<!DOCTYPE a " + declarations + "><a>" + body + "</a>";
    };
    const auto file = " SYSTEM 'file://" + secret + "'";

    EXPECT_TRUE(parse(laughs + "]><a>&l29;</a>").error);
    EXPECT_TRUE(parse(laughs + "]><a x='&l29;'/>").error);
    EXPECT_TRUE(parse(parameters + "%p29;]><a/>").error);
    EXPECT_TRUE(parse("<!DOCTYPE a [<!ENTITY e '&f;'><!ENTITY f '&e;'>]><a>&e;</a>").error);
    // One long text, or many short ones, many times.
    const auto longText = std::string(20000, 'x');
    for (const auto& document :
         {"<!DOCTYPE a [<!ENTITY e '" + longText + "'>]><a>" + repeated("&e;", 5000) + "</a>",
          "<!DOCTYPE a [<!ENTITY e '" + longText + "'>]><a>" + repeated("<b x='&e;'/>", 5000) + "</a>",
          "<!DOCTYPE a [<!ENTITY e '<!--" + longText + "-->'>]><a>" + repeated("&e;", 5000) + "</a>",
          "<!DOCTYPE a [<!ENTITY e '" + repeated("<b/>", 5000) + "'>]><a>" + repeated("&e;", 5000) + "</a>",
          "<!DOCTYPE a [<!ENTITY % p '" + std::string(20000, ' ') + "'>" + repeated("%p;", 5000) + "]><a/>",
          "<!DOCTYPE a [<!ATTLIST b x CDATA '" + longText + "'>]><a>" + repeated("<b/>", 5000) + "</a>",
          "<!DOCTYPE a [<!ATTLIST b xmlns:x CDATA '" + longText + "'>]><a>" + repeated("<b/>", 5000) +
              "</a>"}) {
        const auto parsed = parse(document);
        EXPECT_TRUE(parsed.error && parsed.error->code() == 89) << document.substr(0, 40);
        EXPECT_LT(parsed.events.size(), 2'000'000U);
    }
    const auto declared = "<!DOCTYPE a [<!ENTITY e 'short'>]><a>" + repeated("&e; and more text", 100000);
    EXPECT_FALSE(parse(declared + "</a>").error);
    EXPECT_TRUE(parse(repeated("<a>", 1000000)).error);
    EXPECT_TRUE(parse(repeated("<a>", 300) + repeated("</a>", 300)).error);

    EXPECT_EQ(parse(external("[<!ENTITY e" + file + ">]", "x&e;y")).events, "<a>'x''y'</a>");
    EXPECT_THAT(parse(external("[<!ENTITY % p" + file + "> %p;]", "x&e;y")).events, HasSubstr("<a>'x'"));
    EXPECT_THAT(parse(external(file, "x&e;y")).events, HasSubstr("<a>'x'"));
    for (const auto& document : {external("[<!ENTITY % p" + file + "> %p;]", "&e;"), external(file, "&e;"),
                                 external("[<!ENTITY e" + file + ">]", "<b x='&e;'/>"),
                                 external("[<!ENTITY % p" + file + "><!ENTITY e '%p;'>]", "&e;")}) {
        EXPECT_EQ(parse(document).events.find("secret"), std::string::npos) << document;
    }
    ::unlink(secret.c_str());

    std::string attributes = "<a";
    for (int i = 0; i < 20000; ++i) {
        attributes += " a" + std::to_string(i) + "=''";
    }
    EXPECT_THAT(parse(attributes + "/>").events, HasSubstr(" a19999=>"));
}

TEST(XMLParser, StopsWhereItsDelegateDoes) {
    const auto abort = [](NSXMLParser& parser) {
        EXPECT_EQ(parser.lineNumber(), 2);
        EXPECT_FALSE(parser.parse());
        parser.abortParsing();
    };
    for (const auto* body : {"<b/>\n<c/>", "\n&amp;x<b/>", "\n&e;<c/>", "\nx&broken", "\nx<![CDATA[y]]>"}) {
        const auto parsed =
            parse("<!DOCTYPE a [<!ENTITY e 'x<b>y</b>z'>]><a>" + std::string(body) + "</a>", abort);
        EXPECT_EQ(parsed.error->code(), NSXMLParserDelegateAbortedParseError) << body;
        EXPECT_TRUE(parsed.events.ends_with('\'')) << parsed.events;
    }
    const auto fail = [](NSXMLParser&) { throw std::runtime_error("from the delegate"); };
    for (const auto* body : {"x<b/>", "<b/>&e;", "x</c>"}) {
        EXPECT_THROW(parse("<!DOCTYPE a [<!ENTITY e 'x<b>y</b>z'>]><a>" + std::string(body) + "</a>", fail),
                     std::runtime_error)
            << body;
    }
}

TEST(XMLParser, ServesDelegatesThatAreGoneOrDeaf) {
    const auto parser = NSXMLParser::initWithData(NSData::dataWithText("<a>x<![CDATA[y]]></a>"));
    EXPECT_TRUE(parser->parse());
    parser->setDelegate(NSMutableDictionary::dictionary());
    EXPECT_FALSE(parser->delegate());
    EXPECT_TRUE(parser->parse());
    const auto deaf = NSMutableDictionary::dictionary();
    parser->setDelegate(deaf);
    EXPECT_TRUE(parser->parse());
    EXPECT_FALSE(NSXMLParser::initWithContentsOfURL(NSURL::URLWithString("file:///nowhere/a.xml")));
    EXPECT_FALSE(NSXMLParser::initWithContentsOfURL(nullptr));
}

}  // namespace qz::test
