// Documents as dictionaries and as trees.
#include <gmock/gmock.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <vector>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSException.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/KeyValueCoding.h"
#include "Platform/Text/NSXMLParser.h"
#include "QZUtils/Extensions/NSString/NSString+QZXML.h"
#include "QZUtils/Markup/SPXML.h"
#include "QZUtils/Markup/XMLReader.h"

namespace qz::test {

using testing::HasSubstr;

id read(std::string_view document) {
    Ref<NSError> error = NSError::errorWithDomain("stale", 1, nullptr);
    auto dictionary = XMLReader::dictionaryForXMLString(document, &error);
    EXPECT_EQ(dictionary == nullptr, error != nullptr) << document;
    return dictionary;
}

id dictionary(std::initializer_list<NSDictionary::Entry> entries = {}) {
    return NSDictionary::dictionary(entries);
}

id array(std::initializer_list<id> objects) {
    return NSArray::arrayWithObjects(objects);
}

TEST(XMLReader, MakesDictionariesAndArrays) {
    const auto a = [](std::initializer_list<NSDictionary::Entry> entries) {
        return dictionary({{"a", dictionary(entries)}});
    };
    const id empty = dictionary();
    const std::pair<std::string_view, id> cases[] = {
        {"<a/>", a({})},
        {"<a x='1'><b>t</b><b/></a>",
         a({{"x", "1"}, {"b", array({dictionary({{"__text__", "t"}}), empty})}})},
        {"<a>Tom &amp; Jerry</a>", a({{"__text__", "Tom&Jerry"}})},
        {"<a> \n\t\u00A0\u2028 </a>", a({})},
        {"<a>\u2003va \u00E0 Paris\u00A0<b/> tard </a>",
         a({{"__text__", "va \u00E0 Paristard"}, {"b", array({empty})}})},
        {"<a b='lost'><b/></a>", a({{"b", array({empty})}})},
        {"<a>lost<__text__/></a>", a({{"__text__", array({empty})}})},
        {"<a><__text__/>lost<__text__/></a>", a({{"__text__", array({empty, empty})}})},
        {"<a __text__='lost'>kept</a>", a({{"__text__", "kept"}})},
        {"<a>x<![CDATA[not collected]]></a>", a({{"__text__", "x"}})},
        {"<a><b><c/></b><d/><b/></a>",
         a({{"b", array({dictionary({{"c", array({empty})}}), empty})}, {"d", array({empty})}})},
        {"<n:a xmlns:n='u'/>", dictionary({{"n:a", dictionary({{"xmlns:n", "u"}})}})},
        {"<a><b></a>", nullptr},
        {"", nullptr},
    };
    for (const auto& [document, result] : cases) {
        EXPECT_EQ(read(document), result) << document << descriptionOf(read(document));
    }
    const auto root = read("<a>t<b/></a>");
    const auto element = valueForKeyPath(root, "a");
    EXPECT_TRUE(root.as<NSMutableDictionary>() && element.as<NSMutableDictionary>());
    EXPECT_TRUE(valueForKeyPath(element, "b").as<NSMutableArray>());
    EXPECT_TRUE(valueForKeyPath(element, "__text__").as<NSMutableString>());
    EXPECT_FALSE(XMLReader::dictionaryForXMLString(nullptr, nullptr));
}

TEST(XMLReader, ReadsOneDocumentAfterTheOther) {
    const auto reader = XMLReader::init();
    EXPECT_FALSE(reader->objectWithData(NSData::dataWithText("<a><b>")));
    EXPECT_TRUE(reader->error());
    EXPECT_EQ(id(reader->objectWithData(NSData::dataWithText("<c/>"))), dictionary({{"c", dictionary()}}));
}

TEST(XMLEncoding, ReplacesTheFiveCharacters) {
    EXPECT_EQ(xmlEncodedString("a < 'b' & \"c\" > \u00FC?"),
              "a &lt; &#x27;b&#x27; &amp; &quot;c&quot; &gt; \u00FC?");
    EXPECT_EQ(xmlEncodedString("plain; text"), "plain; text");
    EXPECT_EQ(xmlEncodedString(""), "");
}

Ref<SPXML> tree(std::string_view document) {
    return SPXML::initWithData(NSData::dataWithText(document));
}

TEST(XMLTree, IsWrittenToTheLetter) {
    const std::string declaration = "<?xml version=\"1.0\" ?>\n";
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"<a/>", "\n<root >\n  <a />\n</root>"},
        {"<a></a>", "\n<root >\n  <a />\n</root>"},
        {"<a>t</a>", "\n<root >\n  <a >t\n  </a>\n</root>"},
        {"<a x=\"it's\" y='&lt;&quot;'/>", "\n<root >\n  <a x='it&#x27;s' y='&lt;&quot;' />\n</root>"},
        {"<a> <b>&lt; &amp; c</b> </a>",
         "\n<root >\n  <a >  \n    <b >&lt; &amp; c\n    </b>\n  </a>\n</root>"},
    };
    for (const auto& [document, written] : cases) {
        const auto made = tree(document);
        EXPECT_EQ(made->description(), declaration + std::string(written));
        EXPECT_EQ(made->save()->text(), "<?xml version=\"1.0\" ?" + std::string(written));
        EXPECT_EQ(descriptionOf(made), made->description());
    }
    const auto node = SPNode::initWithName("n");
    std::string text = "x";
    node->appendToString(&text, -2);
    node->appendToString(&text, 1);
    node->appendToString(nullptr, 0);
    EXPECT_EQ(text, "x\n    <n />\n  <n />");
    node->addValueChars(std::string_view("cut\0off", 7));
    NSData data = NSData::dataWithText("y");
    node->appendToData(&data);
    EXPECT_EQ(data.text(), "y\n<n >cut");
    const auto document = SPXML::xmlWithNode(nullptr);
    EXPECT_FALSE(document->description() || document->save() || document->FirstNode());
}

TEST(XMLTree, IsWalkedAndChanged) {
    const auto document = tree("<a x='1' y='2'>one<b k='v'/><c/>two<b/></a>");
    const auto a = document->FirstNode();
    EXPECT_EQ(a->stringValue(), "onetwo");
    EXPECT_EQ(a->length(), 3U);
    EXPECT_EQ(a->parent(), document->root());
    EXPECT_EQ(a->firstChildWithName("b"), a->nodeAtIndex(0));
    EXPECT_EQ(a->firstChildWithName("d"), nullptr);
    EXPECT_EQ(a->nodeNameAtIndex(1), "c");
    EXPECT_EQ(a->attribute("k", 0), "v");
    EXPECT_EQ(a->attribute("k", 1), nullptr);
    for (const std::int64_t index : {std::int64_t{-1}, std::int64_t{3}, std::int64_t{0xFFFFFFFF}}) {
        EXPECT_EQ(a->childAtIndex(index), nullptr);
        EXPECT_THROW(static_cast<void>(a->nodeAtIndex(index)), NSException);
    }
    EXPECT_EQ(a->childAtIndex(0x100000001), a->nodeAtIndex(1));  // 32 bits of it count

    const auto first = SPNode::initWithName("first");
    a->appendChild(first, 0);
    a->appendChild(SPNode::initWithName("last"));
    EXPECT_EQ(a->nodeAtIndex(0), first);
    EXPECT_EQ(a->nodeNameAtIndex(4), "last");
    EXPECT_THROW(a->appendChild(first, 6), NSException);
    EXPECT_THROW(a->appendChild(nullptr), NSException);

    EXPECT_FALSE(first->hasAttributes() || first->value() || first->hasChildNodes());
    first->appendAttribute("n", 5);
    first->addAttributes(NSDictionary::dictionary({{"n", 6}, {"m", "<"}}));
    EXPECT_EQ(first->description(), "\n<first n='6' m='&lt;' />");
    first->allAttributes()->removeObjectForKey("m");
    first->appendAttribute("n", nullptr);
    EXPECT_FALSE(first->hasAttributes());
    a->appendAttribute("y", "3");
    EXPECT_EQ(a->attribute("x"), "1");
    EXPECT_EQ(a->attribute("y"), "3");

    document->setRoot(first);
    EXPECT_EQ(document->description(), "<?xml version=\"1.0\" ?>\n\n<first />");
}

TEST(XMLTree, KeepsWhatWasReadBeforeAnError) {
    for (const auto* document : {"", "  ", "text"}) {
        EXPECT_EQ(tree(document), nullptr);
    }
    testing::internal::CaptureStderr();
    const auto partial = tree("<a>\n<b>t</c></a>");
    EXPECT_EQ(partial->FirstNode()->childAtIndex(0)->stringValue(), "t");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("XML Parser error:(line:2, pos:9) "));
}

TEST(XMLTree, KeepsRepeatedNamesAndValuesApart) {
    const auto value = [](int i) { return "v" + std::to_string(i % 700); };
    const auto name = [](int i) { return "n" + std::to_string(i % 9); };
    constexpr int count = 3000;
    std::string document("<r>");
    for (int i = 0; i < count; ++i) {
        document += "<" + name(i) + " a='" + value(i) + "' b='" + value(i / 2) + "'/>";
    }
    document += "</r>";
    const auto root = tree(document)->FirstNode();
    const auto dictionaries = read(document);
    for (int i = 0; i < count; ++i) {
        const auto& node = root->nodeAtIndex(i);
        ASSERT_EQ(node->name(), name(i));
        ASSERT_EQ(node->attribute("a"), id(value(i)));
        ASSERT_EQ(node->attribute("b"), id(value(i / 2)));
        const auto same = valueForKeyPath(dictionaries, "r." + name(i)).as<NSArray>();
        ASSERT_EQ((*same)[static_cast<std::size_t>(i / 9)],
                  dictionary({{"a", id(value(i))}, {"b", id(value(i / 2))}}));
    }
}

TEST(XMLTree, IsFreedButForWhatIsHeld) {
    auto top = SPNode::initWithName("top");
    std::vector<std::weak_ptr<SPNode>> nodes;
    for (int i = 0; i < 3000; ++i) {
        const auto child = SPNode::initWithName("child");
        child->appendChild(SPNode::initWithName(std::to_string(i)));
        top->appendChild(child);
        nodes.emplace_back(child);
        nodes.emplace_back(child->childAtIndex(0));
    }
    const auto held = top->childAtIndex(1500);
    top = nullptr;
    EXPECT_EQ(held->parent(), nullptr);
    EXPECT_EQ(held->nodeNameAtIndex(0), "1500");
    EXPECT_EQ(held->childAtIndex(0)->parent(), held);
    EXPECT_EQ(std::ranges::count_if(nodes, [](const auto& node) { return !node.expired(); }), 2);
}

TEST(XMLTree, IsReadFromAURL) {
    const auto path = testing::TempDir() + "qz-tree-" + std::to_string(::getpid()) + ".xml";
    const auto file = "file://" + path;
    std::ofstream(path) << "<a/>";
    EXPECT_EQ(SPXML::initWithURLString(file)->FirstNode()->name(), "a");
    ::unlink(path.c_str());
    for (const Text url : {Text(file), Text("no such scheme"), Text(), Text("http://127.0.0.1:9/")}) {
        EXPECT_EQ(SPXML::initWithURLString(url), nullptr);
    }
}

TEST(XMLDelegates, BearAParserThatIsNotTheirs) {
    const auto node = SPNode::initWithName("n");
    const auto hung = SPXML::initWithNode(node);
    const auto bare = SPXML::initWithNode(nullptr);
    const auto reader = XMLReader::init();
    for (const Ref<Object>& delegate : {Ref<Object>(hung), Ref<Object>(bare), Ref<Object>(reader)}) {
        const auto parser = NSXMLParser::initWithData(NSData::dataWithText("<a x='1'>t<b/>u</a>"));
        parser->setDelegate(delegate);
        EXPECT_TRUE(parser->parse());
    }
    EXPECT_EQ(node->description(), "\n<n >\n  <a x='1' >tu\n    <b />\n  </a>\n</n>");
    EXPECT_EQ(bare->FirstNode(), nullptr);
}

TEST(XMLTree, NeedsNoStackForDepth) {
    pthread_attr_t attributes;
    ::pthread_attr_init(&attributes);
    ::pthread_attr_setstacksize(&attributes, std::size_t{128} * 1024);
    pthread_t thread{};
    const auto work = [](void*) -> void* {
        const auto nested = [](int depth) {
            auto top = SPNode::initWithName("n");
            for (auto node = top; depth > 1; --depth) {
                const auto child = SPNode::initWithName("n");
                node->appendChild(child);
                node = child;
            }
            return top;
        };
        constexpr int depth = 3000;
        const auto written = nested(depth)->description();
        EXPECT_EQ(std::ranges::count(written, '\n'), 2 * depth - 1);
        EXPECT_EQ(written.find("<n />"), std::size_t{depth - 1} * (depth + 5) + 1);
        static_cast<void>(nested(300000));
        return nullptr;
    };
    ASSERT_EQ(::pthread_create(&thread, &attributes, work, nullptr), 0);
    ::pthread_join(thread, nullptr);
    ::pthread_attr_destroy(&attributes);
}

}  // namespace qz::test
