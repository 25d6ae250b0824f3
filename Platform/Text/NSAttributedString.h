// NSAttributedString and NSMutableAttributedString: a text whose stretches carry attributes: font, colour,
// links, or whatever else under a name.
//
//     const auto text = NSMutableAttributedString::initWithString("Good morning", nullptr);
//     text->addAttribute(NSUnderlineStyleAttributeName, 1, {0, 4});
//     text->enumerateAttributesInRange({0, text->length()}, [](const auto& attributes, NSRange range, bool&)
//     {…});
//
// Positions and lengths count UTF-16 units. A stretch of equal attributes (equal by value) is one run, as
// long as it can be, and attributes are dictionaries that are never null. What is outside of the text raises
// NSRangeException.
//
// A look-up costs the logarithm of the number of runs, a change at the end its own length, and one elsewhere
// a move of what stands behind. An NSAttributedString may be read from several threads at once; a mutable one
// must not be changed while another thread uses it.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSRange.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSError;
class NSMutableAttributedString;

// The names of attributes, and what they hold.
inline constexpr std::string_view NSFontAttributeName = "NSFont";                         // UIFont
inline constexpr std::string_view NSForegroundColorAttributeName = "NSColor";             // UIColor
inline constexpr std::string_view NSBackgroundColorAttributeName = "NSBackgroundColor";   // UIColor
inline constexpr std::string_view NSUnderlineStyleAttributeName = "NSUnderline";          // number, 1: single
inline constexpr std::string_view NSStrikethroughStyleAttributeName = "NSStrikethrough";  // number, 1: single
inline constexpr std::string_view NSLinkAttributeName = "NSLink";                         // NSURL
inline constexpr std::string_view NSAttachmentAttributeName = "NSAttachment";             // any object
inline constexpr std::string_view NSParagraphStyleAttributeName = "NSParagraphStyle";     // NSParagraphStyle

// What a document is read as.
inline constexpr std::string_view NSDocumentTypeDocumentAttribute = "DocumentType";
inline constexpr std::string_view NSHTMLTextDocumentType = "NSHTML";

class QZ_EXPORT NSAttributedString : public NSObject {
    QZ_OBJECT(NSAttributedString, NSObject)
public:
    /// The attributes of the whole text may be null. What is not UTF-8 becomes U+FFFD.
    template <class Self = NSAttributedString>
    [[nodiscard]] static Ref<Self> initWithString(std::string_view string,
                                                  const Ref<NSDictionary>& attributes) {
        auto made = make<Self>();
        made->fill(string, attributes);
        return made;
    }
    /// The same text, which may be null.
    template <class Self = NSAttributedString>
    [[nodiscard]] static Ref<Self> initWithAttributedString(const Ref<NSAttributedString>& other) {
        auto made = make<Self>();
        if (other) {
            made->append(*other, {0, other->length()});
        }
        return made;
    }
    /// Reads a document: HTML in UTF-8, or in the encoding that it says it has (HTMLImporter.h says what is
    /// understood of it). The options name its type; `documentAttributes` and `error` may be null. Null
    /// with an error (NSCocoaErrorDomain, 65806) for other types and for what cannot be read.
    template <class Self = NSAttributedString>
    [[nodiscard]] static Ref<Self> initWithData(const NSData& data, const Ref<NSDictionary>& options,
                                                Ref<NSDictionary>* documentAttributes, Ref<NSError>* error) {
        auto made = make<Self>();
        return made->read(data, options, documentAttributes, error) ? made : nullptr;
    }

    /// A copy, as UTF-8.
    [[nodiscard]] std::string string() const;
    [[nodiscard]] const std::u16string& units() const noexcept { return units_; }
    [[nodiscard]] std::size_t length() const noexcept { return units_.size(); }

    /// Raises unless index < length().
    [[nodiscard]] Ref<NSDictionary> attributesAtIndex(std::size_t index) const;
    /// The range, which may be null, gets the whole stretch of these attributes within `inRange`.
    [[nodiscard]] Ref<NSDictionary> attributesAtIndex(std::size_t index, NSRange* longestEffectiveRange,
                                                      NSRange inRange) const;
    /// Nil when there is no such attribute.
    [[nodiscard]] id attributeAtIndex(std::string_view attribute, std::size_t index) const;

    using Block = std::function<void(const Ref<NSDictionary>& attributes, NSRange range, bool& stop)>;
    /// Each run within the range, from the first to the last. The block sees the text as it was at first,
    /// and may change it.
    void enumerateAttributesInRange(NSRange range, const Block& usingBlock) const;
    [[nodiscard]] Ref<NSAttributedString> attributedSubstringFromRange(NSRange range) const;

    /// Equal texts with equal attributes; isEqual: is the same.
    [[nodiscard]] bool isEqualToAttributedString(const Ref<NSAttributedString>& other) const;
    [[nodiscard]] Ref<NSMutableAttributedString> mutableCopy() const;

protected:
    NSAttributedString() = default;

    struct Run {
        std::size_t start;
        Ref<NSDictionary> attributes;
    };

    void fill(std::string_view string, const Ref<NSDictionary>& attributes);
    [[nodiscard]] bool read(const NSData& data, const Ref<NSDictionary>& options,
                            Ref<NSDictionary>* documentAttributes, Ref<NSError>* error);
    void append(std::u16string_view units, const Ref<NSDictionary>& attributes);
    void append(const NSAttributedString& other, NSRange range);
    void check(NSRange range) const;
    [[nodiscard]] std::size_t runAt(std::size_t index) const;
    [[nodiscard]] std::size_t endOfRun(std::size_t run) const;

    std::u16string units_;
    std::vector<Run> runs_;  // by their starts; neighbours differ, and the first starts at 0
};

class QZ_EXPORT NSMutableAttributedString : public NSAttributedString {
    QZ_OBJECT(NSMutableAttributedString, NSAttributedString)
public:
    template <class Self = NSMutableAttributedString>
    [[nodiscard]] static Ref<Self> init() {
        return make<Self>();
    }
    template <class Self = NSMutableAttributedString>
    [[nodiscard]] static Ref<Self> initWithString(std::string_view string,
                                                  const Ref<NSDictionary>& attributes) {
        return NSAttributedString::initWithString<Self>(string, attributes);
    }
    template <class Self = NSMutableAttributedString>
    [[nodiscard]] static Ref<Self> initWithAttributedString(const Ref<NSAttributedString>& other) {
        return NSAttributedString::initWithAttributedString<Self>(other);
    }

    /// Those that are there stay, unless they are among the new ones.
    void addAttributes(const Ref<NSDictionary>& attributes, NSRange range);
    void addAttribute(std::string_view name, const id& value, NSRange range);
    /// Those that are there go. Null stands for none.
    void setAttributes(const Ref<NSDictionary>& attributes, NSRange range);
    void removeAttribute(std::string_view name, NSRange range);

    void replaceCharactersInRange(NSRange range, const Ref<NSAttributedString>& withAttributedString);
    /// The new text has the attributes of the first replaced unit, or, where none is replaced, of the unit
    /// before, or else of the one behind.
    void replaceCharactersInRange(NSRange range, std::string_view withString);
    void deleteCharactersInRange(NSRange range);
    void appendAttributedString(const Ref<NSAttributedString>& string);
    /// Units with attributes, which may be null.
    void appendUnits(std::u16string_view units, const Ref<NSDictionary>& attributes);
    void setAttributedString(const Ref<NSAttributedString>& string);

protected:
    NSMutableAttributedString() = default;

private:
    template <class F>
    void changeAttributes(NSRange range, F&& changed);
    [[nodiscard]] std::size_t splitAt(std::size_t index);
    void joinRuns(std::size_t from, std::size_t to);
    void replace(NSRange range, std::u16string_view units, std::vector<Run> runs);
};

}  // namespace qz
