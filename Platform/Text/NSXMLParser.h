// NSXMLParser: reads an XML document once, from its beginning to its end, and tells a delegate what is in it
// (NSXMLParserDelegate.h). Nothing is kept, so that a document of any length takes little memory beside its
// own bytes.
//
//     const auto parser = NSXMLParser::initWithData(data);
//     parser->setDelegate(reader);
//     if (!parser->parse()) {
//         show(parser->parserError());
//     }
//
// Namespaces are not processed: names are reported as they are written. Texts come as UTF-8, whatever the
// document's encoding is.
//
// Foreign bytes do no harm: no external entity and no DTD is read, from the network or from a file (a
// reference to such an entity stands for nothing), entities and defaults of attributes of the document's own
// are expanded up to a megabyte or five times its length, and elements stand 256 deep in each other at most;
// more of either is an error.
//
// ERRORS are of NSXMLParserErrorDomain, with libxml2's numbers (libxml/xmlerror.h, xmlParserErrors). The
// first one ends the parse; what was reported before it stays reported.
//
// A parser is used by one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Runtime/Object.h"

namespace qz {

class NSError;
class NSURL;
namespace internal {
class XMLParse;
}

inline constexpr std::string_view NSXMLParserErrorDomain = "NSXMLParserErrorDomain";

/// The codes that callers tell apart; there are many more.
enum NSXMLParserError : std::int64_t {
    NSXMLParserInternalError = 1,
    NSXMLParserDocumentStartError = 3,
    NSXMLParserEmptyDocumentError = 4,  // no element at all: no bytes, blanks, anything but "<"
    NSXMLParserDelegateAbortedParseError = 512,
};

class QZ_EXPORT NSXMLParser : public NSObject {
    QZ_OBJECT(NSXMLParser, NSObject)
public:
    [[nodiscard]] static Ref<NSXMLParser> initWithData(const NSData& data);
    /// Loads the URL at once and waits for it (dataWithContentsOfURL); null when that fails.
    [[nodiscard]] static Ref<NSXMLParser> initWithContentsOfURL(const Ref<NSURL>& url);

    /// Held weakly.
    [[nodiscard]] Ref<Object> delegate() const { return delegate_.lock(); }
    void setDelegate(Receiver delegate);

    /// Whether the document was read to its end without an error. A parser that is told to parse again starts
    /// over; one that is parsing answers false.
    [[nodiscard]] bool parse();
    /// For the delegate: no message follows, and parse() fails with NSXMLParserDelegateAbortedParseError.
    void abortParsing();

    /// Null as long as nothing went wrong.
    [[nodiscard]] const Ref<NSError>& parserError() const noexcept { return error_; }
    /// Where the parser is, or where the error was, counted from 1 in lines and bytes of UTF-8; 0 before
    /// anything was read.
    [[nodiscard]] std::int64_t lineNumber() const;
    [[nodiscard]] std::int64_t columnNumber() const;

protected:
    explicit NSXMLParser(NSData data) : data_(std::move(data)) {}

private:
    friend class internal::XMLParse;

    const NSData data_;
    std::weak_ptr<Object> delegate_;
    Ref<NSError> error_;
    internal::XMLParse* running_ = nullptr;  // while parsing
    std::int64_t line_ = 0;
    std::int64_t column_ = 0;
};

}  // namespace qz
