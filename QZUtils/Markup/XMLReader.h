// XMLReader: a small XML document, such as the answer of a service, as dictionaries and arrays in one call.
//
//     Ref<NSError> error;
//     const auto answer = XMLReader::dictionaryForXMLData(data, &error);
//     // <shelf name="A"><issue id="1">Daily</issue></shelf>
//     valueForKeyPath(answer, "shelf.name");   // "A"
//     valueForKeyPath(answer, "shelf.issue");  // an array of dictionaries: [{id: 1, __text__: Daily}]
//
// The document element is a dictionary under its name. An element's dictionary has its attributes as texts,
// its text under "__text__" (an NSMutableString), and the elements in it as an NSMutableArray a name, in
// their order. So below the document element everything is in an array, also what occurs once, and nobody
// meets an element now as a dictionary and now as an array. All dictionaries are mutable.
//
// Two rules that callers rely on:
// - Of an attribute and a child element of the same name the child remains; the same goes for a child named
//   "__text__".
// - Every run of text is trimmed for itself, and runs are joined without anything between them: a reference
//   is a run of its own, so "Tom &amp; Jerry" becomes "Tom&Jerry". Runs of blanks alone count for nothing,
//   and CDATA sections are not collected.
//
// It is driven by NSXMLParser, whose bounds and errors are those of a document: safe for bytes from anywhere.
// Class operations are safe from any thread; a reader serves one parse on one thread.
#pragma once

#include <string_view>
#include <unordered_map>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Runtime/Id.h"
#include "Platform/Runtime/Text.h"

namespace qz {

class NSDictionary;
class NSError;
class NSMutableDictionary;
class NSXMLParser;

class QZ_EXPORT XMLReader : public NSObject {
    QZ_OBJECT(XMLReader, NSObject)
public:
    [[nodiscard]] static Ref<XMLReader> init();

    /// Null when the document cannot be read. `error` may be null; it becomes the parser's error, or null.
    [[nodiscard]] static Ref<NSMutableDictionary> dictionaryForXMLData(const NSData& data,
                                                                       Ref<NSError>* error);
    /// The same for a text in UTF-8; nil is an empty document.
    [[nodiscard]] static Ref<NSMutableDictionary> dictionaryForXMLString(Text string, Ref<NSError>* error);

    [[nodiscard]] Ref<NSMutableDictionary> objectWithData(const NSData& data);
    /// The parser's, when it failed; null otherwise.
    [[nodiscard]] const Ref<NSError>& error() const noexcept { return error_; }
    void setError(const Ref<NSError>& error);

    // Messages of the parser.

    void parserDidStartElement(const Ref<NSXMLParser>& parser, std::string_view elementName,
                               Text namespaceURI, Text qualifiedName, const Ref<NSDictionary>& attributes);
    void parserDidEndElement(const Ref<NSXMLParser>& parser, std::string_view elementName, Text namespaceURI,
                             Text qualifiedName);
    void parserFoundCharacters(const Ref<NSXMLParser>& parser, std::string_view string);
    void parserParseErrorOccurred(const Ref<NSXMLParser>& parser, const Ref<NSError>& parseError);

protected:
    XMLReader() = default;

private:
    /// One object a name, however often it occurs.
    const id& nameObject(std::string_view name);

    std::vector<Ref<NSMutableDictionary>> dictionaryStack_;  // the open elements; the first is the result
    std::unordered_map<std::string_view, id> names_;         // keyed by the objects' own texts
    Ref<NSError> error_;
};

}  // namespace qz
