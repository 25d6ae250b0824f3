// NSXMLParserDelegate: what an XML parser tells its delegate, in the order of the document, on the thread
// that parses. Every operation is optional. An exception that one of them throws ends the parse and leaves
// it.
#pragma once

#include "Platform/Runtime/Protocol.h"

namespace qz {

struct NSXMLParserDelegate {
    QZ_PROTOCOL(NSXMLParserDelegate)

    template <class Target>
    static constexpr void declare(Target& cls) {
        using T = typename Target::Type;
        // (Ref<NSXMLParser>, std::string_view name, Text namespaceURI, Text qualifiedName,
        //  Ref<NSDictionary> attributes): the name is as it is written, with its prefix; the URI and the
        // qualified name are nil. Attributes are texts by name, declarations of namespaces included, in an
        // immutable dictionary that the delegate may keep.
        if constexpr (requires { &T::parserDidStartElement; }) {
            cls.method("parser:didStartElement:namespaceURI:qualifiedName:attributes:",
                       &T::parserDidStartElement);
        }
        // (Ref<NSXMLParser>, std::string_view name, Text namespaceURI, Text qualifiedName)
        if constexpr (requires { &T::parserDidEndElement; }) {
            cls.method("parser:didEndElement:namespaceURI:qualifiedName:", &T::parserDidEndElement);
        }
        // (Ref<NSXMLParser>, std::string_view run): UTF-8, never empty. A run ends at a tag, a comment, an
        // instruction, a CDATA section and at both ends of a reference, nowhere else.
        if constexpr (requires { &T::parserFoundCharacters; }) {
            cls.method("parser:foundCharacters:", &T::parserFoundCharacters);
        }
        // (Ref<NSXMLParser>, NSData): a CDATA section, in UTF-8. Without it CDATA is not reported.
        if constexpr (requires { &T::parserFoundCDATA; }) {
            cls.method("parser:foundCDATA:", &T::parserFoundCDATA);
        }
        // (Ref<NSXMLParser>, Ref<NSError>): once at most, and the last message.
        if constexpr (requires { &T::parserParseErrorOccurred; }) {
            cls.method("parser:parseErrorOccurred:", &T::parserParseErrorOccurred);
        }
    }
};

}  // namespace qz
