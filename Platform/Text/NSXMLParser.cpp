#include "Platform/Text/NSXMLParser.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <array>
#include <exception>
#include <functional>
#include <limits>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURL.h"
#include "Platform/Network/NSData+URL.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/Send.h"
#include "Platform/Text/NSXMLParserDelegate.h"

namespace qz {

QZ_DEFINE_CLASS(NSXMLParser, cls) {
    cls.method("parse", &NSXMLParser::parse);
    cls.method("abortParsing", &NSXMLParser::abortParsing);
    cls.property("delegate", &NSXMLParser::delegate,
                 [](NSXMLParser& self, const id& delegate) { self.setDelegate(delegate); });
    cls.property("parserError", &NSXMLParser::parserError);
    cls.property("lineNumber", &NSXMLParser::lineNumber);
    cls.property("columnNumber", &NSXMLParser::columnNumber);
}

namespace internal {

namespace {

std::string_view view(const xmlChar* text) {
    return text ? std::string_view(reinterpret_cast<const char*>(text)) : std::string_view();
}

std::string_view view(const xmlChar* begin, const xmlChar* end) {
    return {reinterpret_cast<const char*>(begin), static_cast<std::size_t>(end - begin)};
}

Ref<NSError> makeError(std::int64_t code, std::string_view description) {
    while (description.ends_with('\n')) {
        description.remove_suffix(1);
    }
    return NSError::errorWithDomain(std::string(NSXMLParserErrorDomain), code,
                                    NSDictionary::dictionary({{NSLocalizedDescriptionKey, description}}));
}

/// A name as libxml2's dictionary holds it: equal names are equal pointers for the length of one parse.
struct Name {
    const xmlChar* prefix;  // null without one
    const xmlChar* local;
    [[nodiscard]] friend bool operator==(const Name&, const Name&) noexcept = default;
};

struct NameHash {
    std::size_t operator()(const Name& name) const noexcept {
        const std::hash<const void*> hash;
        return hash(name.local) * 31 + hash(name.prefix);
    }
};

}  // namespace

/// One run of libxml2 over one document.
class XMLParse {
public:
    explicit XMLParse(NSXMLParser& parser)
        : parser_(parser), self_(refTo(parser)), delegate_(parser.delegate()) {
        const auto& cls = delegate_;
        wants_ = {respondsToSelector(cls, didStartElement()), respondsToSelector(cls, didEndElement()),
                  respondsToSelector(cls, foundCharacters()), respondsToSelector(cls, foundCDATA())};
        parser_.running_ = this;
    }
    XMLParse(const XMLParse&) = delete;
    XMLParse& operator=(const XMLParse&) = delete;
    ~XMLParse() {
        parser_.running_ = nullptr;
        if (context_) {
            xmlFreeDoc(context_->myDoc);  // the declarations of the internal subset
            xmlFreeParserCtxt(context_);
        }
    }

    bool run() {
        const auto bytes = parser_.data_.text();
        if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
            fail(makeError(NSXMLParserInternalError, "The document is too long"));
            return false;
        }
        static const bool initialised = (xmlInitParser(), true);
        static_cast<void>(initialised);
        context_ = xmlCreateMemoryParserCtxt(bytes.data(), static_cast<int>(bytes.size()));
        if (!context_) {  // which is so for no bytes
            fail(makeError(NSXMLParserEmptyDocumentError, "Document is empty"));
            return false;
        }
        *context_->sax = handler();
        context_->userData = this;
        // Entities are substituted: otherwise their text would not be reported. Those that stand for files
        // are never declared to libxml2 (declareEntity), so that there is nothing to load.
        xmlCtxtUseOptions(context_, XML_PARSE_NOENT | XML_PARSE_NONET);
        xmlParseDocument(context_);
        if (exception_) {
            std::rethrow_exception(exception_);
        }
        if (!parser_.error_) {
            parser_.line_ = line();
            parser_.column_ = column();
            if (context_->wellFormed == 0) {
                fail(makeError(NSXMLParserInternalError, "The document is not well-formed"));
            }
        }
        return !parser_.error_;
    }

    void abort() {
        if (!isOver()) {
            text_.clear();
            parser_.line_ = line();
            parser_.column_ = column();
            parser_.error_ = makeError(NSXMLParserDelegateAbortedParseError, "The delegate ended the parse");
        }
    }

    [[nodiscard]] std::int64_t line() const { return input() ? input()->line : 0; }
    [[nodiscard]] std::int64_t column() const { return input() ? input()->col : 0; }

private:
    static Selector didStartElement() {
        return "parser:didStartElement:namespaceURI:qualifiedName:attributes:"_sel;
    }
    static Selector didEndElement() { return "parser:didEndElement:namespaceURI:qualifiedName:"_sel; }
    static Selector foundCharacters() { return "parser:foundCharacters:"_sel; }
    static Selector foundCDATA() { return "parser:foundCDATA:"_sel; }

    static xmlSAXHandler handler() {
        xmlSAXHandler sax{};
        sax.initialized = XML_SAX2_MAGIC;
        sax.startDocument = [](void* user) { xmlSAX2StartDocument(of(user).context_); };
        sax.internalSubset = [](void* user, const xmlChar* name, const xmlChar* publicID,
                                const xmlChar* systemID) {
            xmlSAX2InternalSubset(of(user).context_, name, publicID, systemID);
        };
        sax.entityDecl = &declareEntity;
        // After an error libxml2 goes on without messages; it must not go on to expand what was too much.
        sax.getEntity = [](void* user, const xmlChar* name) {
            of(user).guarded(&XMLParse::reportText, false);
            return of(user).expanded(name, &xmlSAX2GetEntity);
        };
        sax.getParameterEntity = [](void* user, const xmlChar* name) {
            return of(user).expanded(name, &xmlSAX2GetParameterEntity);
        };
        sax.startElementNs = [](void* user, const xmlChar* local, const xmlChar* prefix, const xmlChar*,
                                int namespaceCount, const xmlChar** namespaces, int attributeCount,
                                int defaultCount, const xmlChar** attributes) {
            of(user).guarded([&](XMLParse& parse) {
                const std::span<const xmlChar*> declared(namespaces,
                                                         static_cast<std::size_t>(namespaceCount) * 2);
                const std::span<const xmlChar*> all(attributes, static_cast<std::size_t>(attributeCount) * 5);
                parse.countDefaults(declared, all.last(static_cast<std::size_t>(defaultCount) * 5));
                parse.startElement({prefix, local}, declared, all);
            });
        };
        sax.endElementNs = [](void* user, const xmlChar* local, const xmlChar* prefix, const xmlChar*) {
            of(user).guarded([&](XMLParse& parse) { parse.endElement({prefix, local}); });
        };
        sax.characters = [](void* user, const xmlChar* bytes, int size) {
            of(user).guarded([&](XMLParse& parse) { parse.characters(view(bytes, bytes + size)); });
        };
        // With two different functions libxml2 would guess which blanks matter.
        sax.ignorableWhitespace = sax.characters;
        sax.cdataBlock = [](void* user, const xmlChar* bytes, int size) {
            of(user).guarded([&](XMLParse& parse) { parse.section(view(bytes, bytes + size)); });
        };
        sax.comment = [](void* user, const xmlChar*) { of(user).guarded(&XMLParse::reportText); };
        sax.processingInstruction = [](void* user, const xmlChar*, const xmlChar*) {
            of(user).guarded(&XMLParse::reportText);
        };
        sax.reference = [](void* user, const xmlChar*) { of(user).guarded(&XMLParse::reportText); };
        sax.serror = [](void* user, xmlError* error) {
            // Lesser ones are warnings, and remarks on namespaces, which are not looked at.
            if (error->level == XML_ERR_FATAL) {
                of(user).guarded([&](XMLParse& parse) { parse.failed(*error); }, false);
            }
        };
        return sax;
    }

    static XMLParse& of(void* user) { return *static_cast<XMLParse*>(user); }

    /// Exceptions of the delegate must not fly through libxml2. Stopping frees the input, which some of its
    /// functions go on reading after an event: with those it goes on to the document's end, without messages.
    template <class F>
    void guarded(F&& event, bool mayStop = true) noexcept {
        if (isOver()) {
            return;
        }
        try {
            std::invoke(event, *this);
        } catch (...) {
            exception_ = std::current_exception();
        }
        if (isOver() && mayStop) {
            xmlStopParser(context_);
        }
    }

    [[nodiscard]] bool isOver() const noexcept { return parser_.error_ || exception_; }

    [[nodiscard]] const xmlParserInput* input() const { return context_ ? context_->input : nullptr; }

    /// An external entity is declared as one without content: a document that refers to it is well-formed.
    static void declareEntity(void* user, const xmlChar* name, int type, const xmlChar* publicID,
                              const xmlChar* systemID, xmlChar* content) {
        auto* const context = of(user).context_;
        xmlChar nothing[] = {0};
        switch (type) {
            case XML_EXTERNAL_GENERAL_PARSED_ENTITY:
                xmlSAX2EntityDecl(context, name, XML_INTERNAL_GENERAL_ENTITY, nullptr, nullptr, nothing);
                break;
            case XML_EXTERNAL_PARAMETER_ENTITY:
                xmlSAX2EntityDecl(context, name, XML_INTERNAL_PARAMETER_ENTITY, nullptr, nullptr, nothing);
                break;
            default:
                xmlSAX2EntityDecl(context, name, type, publicID, systemID, content);
        }
    }

    /// libxml2 looks at how entities multiply in each other alone: a long one that is referred to often would
    /// make a small document endless. The bounds are those of its versions from 2.11 on (parserInternals.h).
    void expand(std::size_t size) {
        constexpr std::size_t allowed = 1'000'000;
        constexpr std::size_t factor = 5;
        constexpr std::size_t costOfOne = 20;
        expansion_ += size + costOfOne;
        if (!isOver() && expansion_ > allowed && expansion_ / factor > parser_.data_.text().size()) {
            parser_.line_ = line();
            parser_.column_ = column();
            fail(makeError(XML_ERR_ENTITY_LOOP, "The document's declarations multiply its text too often"));
        }
    }

    /// The entity of a reference; null where it must not be expanded.
    xmlEntity* expanded(const xmlChar* name, xmlEntity* (*find)(void*, const xmlChar*)) {
        auto* const entity = isOver() ? nullptr : find(context_, name);
        if (entity) {
            guarded([&](XMLParse& parse) { parse.expand(static_cast<std::size_t>(entity->length)); }, false);
        }
        return isOver() ? nullptr : entity;
    }

    /// Attributes that the document declares once are there in every element. Of namespaces libxml2 does not
    /// say which ones those are, but what is written is longer than the bound allows.
    void countDefaults(std::span<const xmlChar*> namespaces, std::span<const xmlChar*> attributes) {
        for (std::size_t i = 0; i < namespaces.size(); i += 2) {
            expand(view(namespaces[i + 1]).size());
        }
        for (std::size_t i = 0; i < attributes.size(); i += 5) {
            expand(view(attributes[i + 3], attributes[i + 4]).size());
        }
    }

    /// One object a name, however often it occurs.
    const id& nameObject(Name name) {
        auto& object = names_[name];
        if (!object) {
            std::string text(view(name.prefix));
            text.append(name.prefix ? ":" : "").append(view(name.local));
            object = std::move(text);
        }
        return object;
    }

    /// Short values repeat as well: the recent ones are one object each.
    id valueObject(std::string_view value) {
        constexpr std::size_t longest = 32;
        if (value.size() > longest) {
            return value;
        }
        auto& recent = values_[std::hash<std::string_view>()(value) % values_.size()];
        if (!recent || static_cast<NSString&>(*recent).string() != value) {
            recent = value;
        }
        return recent;
    }

    std::string_view nameText(Name name) {
        return name.prefix ? std::string_view(static_cast<NSString&>(*nameObject(name)).string())
                           : view(name.local);
    }

    void startElement(Name name, std::span<const xmlChar*> namespaces, std::span<const xmlChar*> attributes) {
        reportText();
        if (!wants_.startElement || isOver()) {
            return;
        }
        static const auto* const declaration = reinterpret_cast<const xmlChar*>("xmlns");
        entries_.clear();
        for (std::size_t i = 0; i < namespaces.size(); i += 2) {
            const auto* prefix = namespaces[i];
            entries_.emplace_back(nameObject(prefix ? Name{declaration, prefix} : Name{nullptr, declaration}),
                                  view(namespaces[i + 1]));
        }
        for (std::size_t i = 0; i < attributes.size(); i += 5) {
            entries_.emplace_back(nameObject({attributes[i + 1], attributes[i]}),
                                  valueObject(view(attributes[i + 3], attributes[i + 4])));
        }
        send(delegate_, didStartElement(), self_, nameText(name), Text(), Text(),
             entries_.empty() ? noAttributes_ : NSDictionary::dictionary(entries_));
    }

    void endElement(Name name) {
        reportText();
        if (wants_.endElement && !isOver()) {
            send(delegate_, didEndElement(), self_, nameText(name), Text(), Text());
        }
    }

    /// libxml2 hands a run over in pieces, and what a reference stands for as if it were another piece.
    void characters(std::string_view piece) {
        const auto reference = endOfReference(piece);
        if (reference != reference_) {
            reportText();
            reference_ = reference;
        }
        if (wants_.characters && !isOver()) {
            text_ += piece;
        }
    }

    /// Where the reference ends that a piece stands for; 0 for literal text. libxml2 does not say which it
    /// is, but it stands behind the reference then. With literal text it stands before the piece, or behind
    /// it, and that never ends with what looks like a reference, since it would be one.
    [[nodiscard]] std::size_t endOfReference(std::string_view piece) const {
        constexpr std::ptrdiff_t longest = 256;
        const auto* const base = input()->base;
        const auto* const end = input()->cur;
        if (end == base || end[-1] != ';' || piece.data() == reinterpret_cast<const char*>(end)) {
            return 0;
        }
        const auto* const limit = std::max(base, end - std::min(end - base, longest));
        for (const auto* at = end - 1; at != limit;) {
            const auto c = *--at;
            if (c == '&') {
                return input()->consumed + static_cast<std::size_t>(end - base);
            }
            if (c == ';' || c == '>' || c <= ' ') {
                break;
            }
        }
        return 0;
    }

    void reportText() {
        if (!text_.empty()) {
            run_.swap(text_);  // the delegate may throw or abort
            text_.clear();
            send(delegate_, foundCharacters(), self_, std::string_view(run_));
        }
    }

    void section(std::string_view text) {
        reportText();
        if (wants_.section && !isOver()) {
            send(delegate_, foundCDATA(), self_, NSData::dataWithText(text));
        }
    }

    void failed(const xmlError& error) {
        reportText();
        if (!isOver()) {
            parser_.line_ = error.line;
            parser_.column_ = error.int2;
            fail(makeError(error.code, error.message ? error.message : "The document is not well-formed"));
        }
    }

    void fail(Ref<NSError> error) {
        parser_.error_ = std::move(error);
        const auto selector = "parser:parseErrorOccurred:"_sel;
        if (respondsToSelector(delegate_, selector)) {
            send(delegate_, selector, self_, parser_.error_);
        }
    }

    struct Wants {
        bool startElement = false;
        bool endElement = false;
        bool characters = false;
        bool section = false;
    };

    NSXMLParser& parser_;
    const Ref<NSXMLParser> self_;
    const Ref<Object> delegate_;
    Wants wants_;
    xmlParserCtxt* context_ = nullptr;
    std::exception_ptr exception_;
    std::string text_;  // the run so far
    std::string run_;   // the one being reported
    std::size_t reference_ = 0;
    std::size_t expansion_ = 0;  // what declarations added, in bytes
    std::unordered_map<Name, id, NameHash> names_;
    std::array<id, 256> values_;
    std::vector<NSDictionary::Entry> entries_;
    const Ref<NSDictionary> noAttributes_ = NSDictionary::dictionary();
};

}  // namespace internal

Ref<NSXMLParser> NSXMLParser::initWithData(const NSData& data) {
    return make<NSXMLParser>(data);
}

Ref<NSXMLParser> NSXMLParser::initWithContentsOfURL(const Ref<NSURL>& url) {
    const auto data = dataWithContentsOfURL(url, nullptr);
    return data ? initWithData(*data) : nullptr;
}

void NSXMLParser::setDelegate(Receiver delegate) {
    delegate_ = delegate.ref();
}

bool NSXMLParser::parse() {
    if (running_) {
        return false;
    }
    error_ = nullptr;
    return internal::XMLParse(*this).run();
}

void NSXMLParser::abortParsing() {
    if (running_) {
        running_->abort();
    }
}

std::int64_t NSXMLParser::lineNumber() const {
    return running_ && !error_ ? running_->line() : line_;
}

std::int64_t NSXMLParser::columnNumber() const {
    return running_ && !error_ ? running_->column() : column_;
}

}  // namespace qz
