#include "QZUtils/Markup/SPXML.h"

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSLog.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "Platform/Text/NSXMLParser.h"
#include "Platform/Text/NSXMLParserDelegate.h"

namespace qz {

QZ_DEFINE_CLASS(SPXML, cls) {
    cls.adopts<NSXMLParserDelegate>();
    cls.method("description", [](const SPXML& self) { return self.description().value_or("(null)"); });
    cls.property("root", &SPXML::root, &SPXML::setRoot);
    cls.method("FirstNode", &SPXML::FirstNode);
    cls.method("save", [](const SPXML& self) {
        const auto data = self.save();
        return data ? id(*data) : id();
    });
    cls.classMethod("xmlWithNode:", [](Class&, const Ref<SPNode>& node) { return SPXML::xmlWithNode(node); });
}

namespace {

constexpr std::string_view declaration = "<?xml version=\"1.0\" ?>";
constexpr std::size_t savedDeclaration = 21;

}  // namespace

Ref<SPXML> SPXML::initWithXMLParser(const Ref<NSXMLParser>& parser) {
    if (!parser) {
        return nullptr;
    }
    auto document = initWithNode(SPNode::initWithName("root"));
    parser->setDelegate(document);
    if (parser->parse()) {
        return document;
    }
    const auto& error = parser->parserError();
    if (error &&
        (error->code() == NSXMLParserDocumentStartError || error->code() == NSXMLParserEmptyDocumentError)) {
        return nullptr;
    }
    const auto line = parser->lineNumber();
    const auto column = parser->columnNumber();
    if (error && (line != 1 || column != 1)) {
        NSLog("XML Parser error:(line:%ld, pos:%ld) %@", line, column, error->localizedDescription());
    }
    return document;
}

Ref<SPXML> SPXML::initWithData(const NSData& data) {
    return initWithXMLParser(NSXMLParser::initWithData(data));
}

Ref<SPXML> SPXML::initWithURLString(Text string) {
    return initWithXMLParser(NSXMLParser::initWithContentsOfURL(NSURL::URLWithString(string)));
}

Ref<SPXML> SPXML::initWithNode(const Ref<SPNode>& node) {
    return make<SPXML>(node);
}

Ref<SPXML> SPXML::xmlWithNode(const Ref<SPNode>& node) {
    return initWithNode(node);
}

void SPXML::setRoot(const Ref<SPNode>& root) {
    changing(*this, "root", [&] { root_ = root; });
}

Ref<SPNode> SPXML::FirstNode() const {
    return root_ ? root_->childAtIndex(0) : nullptr;
}

std::optional<std::string> SPXML::description() const {
    if (!root_) {
        return std::nullopt;
    }
    std::string text(declaration);
    text += '\n';
    root_->appendToString(&text, 0);
    return text;
}

std::optional<NSData> SPXML::save() const {
    if (!root_) {
        return std::nullopt;
    }
    auto data = NSData::dataWithText(declaration.substr(0, savedDeclaration));
    root_->appendToData(&data);
    return data;
}

void SPXML::parserDidStartElement(const Ref<NSXMLParser>&, std::string_view elementName, Text, Text,
                                  const Ref<NSDictionary>& attributes) {
    const auto node = SPNode::initWithName(elementName);
    if (currentNode_) {
        currentNode_->appendChild(node);
    }
    currentNode_ = node;
    node->addAttributes(attributes);
}

void SPXML::parserDidEndElement(const Ref<NSXMLParser>&, std::string_view, Text, Text) {
    if (currentNode_) {
        currentNode_ = currentNode_->parent();
    }
}

void SPXML::parserFoundCharacters(const Ref<NSXMLParser>&, std::string_view string) {
    if (currentNode_) {
        currentNode_->addValueChars(string);
    }
}

}  // namespace qz
