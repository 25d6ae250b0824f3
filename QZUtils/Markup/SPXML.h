// SPXML: an XML document as a tree that can be walked, changed and written (SPNode.h).
//
//     const auto document = SPXML::initWithData(data);
//     const auto shelf = document ? document->FirstNode() : nullptr;
//     for (const auto& issue : shelf->childs()) { … }
//
// A document that was read has a node "root" above its document element, which is written with it. Texts are
// kept as they are, blanks between elements included: they are the value of the element around them. Comments
// and CDATA sections are not kept. Bounds, entities and encodings are NSXMLParser's.
//
// A document with an error in it gives what was read before the error, with a line in the console log. The
// dictionaries of XMLReader are the choice for a caller who has to know.
//
// Used by one thread at a time.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Runtime/Object.h"
#include "Platform/Runtime/Text.h"
#include "QZUtils/Markup/SPNode.h"

namespace qz {

class NSDictionary;
class NSXMLParser;

class QZ_EXPORT SPXML : public NSObject {
    QZ_OBJECT(SPXML, NSObject)
public:
    /// Runs the parser. Null for null, and for what does not begin as a document
    /// (NSXMLParserDocumentStartError, NSXMLParserEmptyDocumentError).
    [[nodiscard]] static Ref<SPXML> initWithXMLParser(const Ref<NSXMLParser>& parser);
    [[nodiscard]] static Ref<SPXML> initWithData(const NSData& data);
    /// Loads the URL and waits for it; null too when nothing could be loaded.
    [[nodiscard]] static Ref<SPXML> initWithURLString(Text string);
    /// A document of nodes that exist, which may be null.
    [[nodiscard]] static Ref<SPXML> initWithNode(const Ref<SPNode>& node);
    [[nodiscard]] static Ref<SPXML> xmlWithNode(const Ref<SPNode>& node);

    [[nodiscard]] const Ref<SPNode>& root() const noexcept { return root_; }
    void setRoot(const Ref<SPNode>& root);
    /// The document element of a document that was read: the first child of the root. Null without one.
    [[nodiscard]] Ref<SPNode> FirstNode() const;

    /// A declaration, a line break and the written root. Nullopt without a root.
    [[nodiscard]] std::optional<std::string> description() const;
    /// The bytes of the document, up to the first zero byte; nullopt without a root. They begin with the
    /// declaration's first 21 bytes, without the last ">", and readers of such files rely on that; it is no
    /// well-formed document. For one, take description() of a document whose root is its document element.
    [[nodiscard]] std::optional<NSData> save() const;

    // Messages of the parser.

    void parserDidStartElement(const Ref<NSXMLParser>& parser, std::string_view elementName,
                               Text namespaceURI, Text qualifiedName, const Ref<NSDictionary>& attributes);
    void parserDidEndElement(const Ref<NSXMLParser>& parser, std::string_view elementName, Text namespaceURI,
                             Text qualifiedName);
    void parserFoundCharacters(const Ref<NSXMLParser>& parser, std::string_view string);

protected:
    explicit SPXML(const Ref<SPNode>& root) : root_(root), currentNode_(root) {}

private:
    Ref<SPNode> root_;
    Ref<SPNode> currentNode_;  // receives what the parser finds
};

}  // namespace qz
