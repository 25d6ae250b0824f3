#include "QZUtils/Markup/XMLReader.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <cstdint>

#include "Platform/Foundation/NSArray.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueObserving.h"
#include "Platform/Text/NSXMLParser.h"
#include "Platform/Text/NSXMLParserDelegate.h"

namespace qz {

QZ_DEFINE_CLASS(XMLReader, cls) {
    cls.adopts<NSXMLParserDelegate>();
    cls.method("objectWithData:", &XMLReader::objectWithData);
    cls.property("error", &XMLReader::error, &XMLReader::setError);
}

namespace {

/// Whether the character that begins at `at`, which it moves behind it, is a blank or a line break.
bool isBlank(std::string_view text, std::size_t& at) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    UChar32 c = 0;
    U8_NEXT(bytes, at, text.size(), c);
    return u_isUWhiteSpace(c) != 0;
}

/// Blanks and line breaks of all scripts gone from both ends.
std::string_view trimmed(std::string_view text) {
    for (std::size_t next = 0; !text.empty() && isBlank(text, next); next = 0) {
        text.remove_prefix(next);
    }
    while (!text.empty()) {
        auto last = text.size() - 1;
        while (last > 0 && U8_IS_TRAIL(text[last])) {
            --last;
        }
        auto next = last;
        if (!isBlank(text, next)) {
            break;
        }
        text.remove_suffix(text.size() - last);
    }
    return text;
}

/// The value under a key if it is a T; otherwise a new one, which takes its place.
template <class T>
T& entry(NSMutableDictionary& dictionary, const id& key, Ref<T> (*create)()) {
    const auto value = dictionary.objectForKey(key);
    if (auto* const present = dynamic_cast<T*>(value.get())) {
        return *present;
    }
    auto made = create();
    dictionary.setObjectForKey(made, key);
    return *made;
}

const id& textKey() {
    static const id key("__text__");
    return key;
}

}  // namespace

Ref<XMLReader> XMLReader::init() {
    return make<XMLReader>();
}

Ref<NSMutableDictionary> XMLReader::dictionaryForXMLData(const NSData& data, Ref<NSError>* error) {
    const auto reader = init();
    auto dictionary = reader->objectWithData(data);
    if (error) {
        *error = reader->error();
    }
    return dictionary;
}

Ref<NSMutableDictionary> XMLReader::dictionaryForXMLString(Text string, Ref<NSError>* error) {
    return dictionaryForXMLData(NSData::dataWithText(string.view()), error);
}

Ref<NSMutableDictionary> XMLReader::objectWithData(const NSData& data) {
    dictionaryStack_.assign(1, NSMutableDictionary::dictionary());
    names_.clear();
    const auto parser = NSXMLParser::initWithData(data);
    parser->setDelegate(this);
    return parser->parse() && !dictionaryStack_.empty() ? dictionaryStack_.front() : nullptr;
}

void XMLReader::setError(const Ref<NSError>& error) {
    changing(*this, "error", [&] { error_ = error; });
}

const id& XMLReader::nameObject(std::string_view name) {
    const auto found = names_.find(name);
    if (found != names_.end()) {
        return found->second;
    }
    auto object = NSString::string(std::string(name));
    const std::string_view text = object->string();
    return names_.emplace(text, std::move(object)).first->second;
}

void XMLReader::parserDidStartElement(const Ref<NSXMLParser>&, std::string_view elementName, Text, Text,
                                      const Ref<NSDictionary>& attributes) {
    if (dictionaryStack_.empty()) {  // a message of another's parser
        return;
    }
    const auto child = attributes ? attributes->mutableCopy() : NSMutableDictionary::dictionary();
    auto& parent = *dictionaryStack_.back();
    const auto& name = nameObject(elementName);
    if (dictionaryStack_.size() == 1) {
        parent.setObjectForKey(child, name);
    } else {
        entry(parent, name, &NSMutableArray::array).addObject(child);
    }
    dictionaryStack_.push_back(child);
}

void XMLReader::parserDidEndElement(const Ref<NSXMLParser>&, std::string_view, Text, Text) {
    if (!dictionaryStack_.empty()) {
        dictionaryStack_.pop_back();
    }
}

void XMLReader::parserFoundCharacters(const Ref<NSXMLParser>&, std::string_view string) {
    const auto text = trimmed(string);
    if (text.empty() || dictionaryStack_.empty()) {
        return;
    }
    auto& element = *dictionaryStack_.back();
    const auto present = element.objectForKey(textKey());
    if (dynamic_cast<NSMutableArray*>(present.get())) {
        return;  // children of this name remain
    }
    const auto create = [] { return NSMutableString::string(); };
    entry<NSMutableString>(element, textKey(), create).appendString(text);
}

void XMLReader::parserParseErrorOccurred(const Ref<NSXMLParser>&, const Ref<NSError>& parseError) {
    setError(parseError);
}

}  // namespace qz
