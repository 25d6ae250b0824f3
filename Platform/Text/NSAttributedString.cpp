#include "Platform/Text/NSAttributedString.h"

#include <algorithm>
#include <utility>

#include "Platform/Foundation/CocoaErrors.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Text/HTMLImporter.h"
#include "Platform/Text/UTF16.h"

namespace qz {

namespace {

const Ref<NSDictionary>& noAttributes() {
    static const auto* const empty = new Ref<NSDictionary>(NSDictionary::dictionary());
    return *empty;
}

/// A dictionary that nobody else changes.
Ref<NSDictionary> kept(const Ref<NSDictionary>& attributes) {
    return attributes ? attributes->copy() : noAttributes();
}

bool same(const Ref<NSDictionary>& left, const Ref<NSDictionary>& right) {
    return left == right || id(left) == id(right);
}

}  // namespace

QZ_DEFINE_CLASS(NSAttributedString, cls) {
    using Self = NSAttributedString;
    cls.classMethod("initWithString:attributes:",
                    [](Class&, std::string_view string, const Ref<NSDictionary>& attributes) {
                        return initWithString(string, attributes);
                    });
    cls.classMethod("initWithData:options:documentAttributes:error:",
                    [](Class&, const NSData& data, const Ref<NSDictionary>& options,
                       Ref<NSDictionary>* documentAttributes, Ref<NSError>* error) {
                        return initWithData(data, options, documentAttributes, error);
                    });
    cls.property("string", &Self::string);
    cls.property("length", &Self::length);
    cls.method(
        "attributesAtIndex:longestEffectiveRange:inRange:",
        [](const Self& self, std::size_t index, NSRange* longestEffectiveRange, const NSRange& inRange) {
            return self.attributesAtIndex(index, longestEffectiveRange, inRange);
        });
    cls.method("attributedSubstringFromRange:", &Self::attributedSubstringFromRange);
    cls.method("isEqual:", [](const Self& self, const id& other) {
        return self.isEqualToAttributedString(other.as<NSAttributedString>());
    });
    cls.method("hash", [](const Self& self) { return std::hash<std::u16string>()(self.units()); });
    cls.method("description", &Self::string);
    cls.method("mutableCopy", &Self::mutableCopy);
}

QZ_DEFINE_CLASS(NSMutableAttributedString, cls) {
    using Self = NSMutableAttributedString;
    cls.classMethod("initWithString:attributes:",
                    [](Class&, std::string_view string, const Ref<NSDictionary>& attributes) {
                        return initWithString(string, attributes);
                    });
    cls.method("addAttributes:range:", &Self::addAttributes);
    cls.method("setAttributes:range:", &Self::setAttributes);
    cls.method("deleteCharactersInRange:", &Self::deleteCharactersInRange);
    cls.method("appendAttributedString:", &Self::appendAttributedString);
    cls.method("setAttributedString:", &Self::setAttributedString);
}

// What both have.

void NSAttributedString::fill(std::string_view string, const Ref<NSDictionary>& attributes) {
    append(utf16(string), kept(attributes));
}

bool NSAttributedString::read(const NSData& data, const Ref<NSDictionary>& options,
                              Ref<NSDictionary>* documentAttributes, Ref<NSError>* error) {
    const auto isHTML =
        options && options->objectForKey(NSDocumentTypeDocumentAttribute) == NSHTMLTextDocumentType;
    const auto read = isHTML ? attributedStringFromHTML(data.text()) : nullptr;
    if (read) {
        append(*read, {0, read->length()});
        if (documentAttributes) {
            *documentAttributes =
                NSDictionary::dictionary({{NSDocumentTypeDocumentAttribute, NSHTMLTextDocumentType}});
        }
    } else if (error) {
        *error = NSError::errorWithDomain(
            std::string(NSCocoaErrorDomain),
            static_cast<std::int64_t>(NSCocoaErrorCode::TextReadInapplicableDocumentType),
            NSDictionary::dictionary(
                {{NSLocalizedDescriptionKey,
                  isHTML ? "The document cannot be read." : "The type of the document is not supported."}}));
    }
    return read != nullptr;
}

void NSAttributedString::append(std::u16string_view units, const Ref<NSDictionary>& attributes) {
    if (units.empty()) {
        return;
    }
    if (runs_.empty() || !same(runs_.back().attributes, attributes)) {
        runs_.push_back({units_.size(), attributes});
    }
    units_.append(units);
}

void NSAttributedString::append(const NSAttributedString& other, NSRange range) {
    if (range.length == 0) {
        return;
    }
    const auto units = std::u16string_view(other.units_);
    for (auto run = other.runAt(range.location); run < other.runs_.size(); ++run) {
        const auto start = std::max(other.runs_[run].start, range.location);
        if (start >= range.end()) {
            break;
        }
        const auto end = std::min(other.endOfRun(run), range.end());
        append(units.substr(start, end - start), other.runs_[run].attributes);
    }
}

void NSAttributedString::check(NSRange range) const {
    if (!range.isWithin(length())) {
        raise(NSRangeException, "the range {" + std::to_string(range.location) + ", " +
                                    std::to_string(range.length) + "} is not in a text of " +
                                    std::to_string(length()) + " units");
    }
}

/// The run that a unit of the text stands in.
std::size_t NSAttributedString::runAt(std::size_t index) const {
    const auto behind = std::upper_bound(runs_.begin(), runs_.end(), index,
                                         [](std::size_t at, const Run& run) { return at < run.start; });
    return static_cast<std::size_t>(behind - runs_.begin()) - 1;
}

std::size_t NSAttributedString::endOfRun(std::size_t run) const {
    return run + 1 < runs_.size() ? runs_[run + 1].start : length();
}

std::string NSAttributedString::string() const {
    return utf8(units_);
}

Ref<NSDictionary> NSAttributedString::attributesAtIndex(std::size_t index) const {
    return attributesAtIndex(index, nullptr, {0, length()});
}

Ref<NSDictionary> NSAttributedString::attributesAtIndex(std::size_t index, NSRange* longestEffectiveRange,
                                                        NSRange inRange) const {
    check(inRange);
    internal::checkIndex(index, length());
    const auto run = runAt(index);
    if (longestEffectiveRange) {
        const auto start = std::max(runs_[run].start, inRange.location);
        const auto end = std::min(endOfRun(run), inRange.end());
        *longestEffectiveRange = {start, end - std::min(start, end)};
    }
    return runs_[run].attributes;
}

id NSAttributedString::attributeAtIndex(std::string_view attribute, std::size_t index) const {
    return attributesAtIndex(index)->objectForKey(attribute);
}

void NSAttributedString::enumerateAttributesInRange(NSRange range, const Block& usingBlock) const {
    check(range);
    std::vector<std::pair<NSRange, Ref<NSDictionary>>> found;
    for (auto run = range.length == 0 ? runs_.size() : runAt(range.location);
         run < runs_.size() && runs_[run].start < range.end(); ++run) {
        const auto start = std::max(runs_[run].start, range.location);
        found.emplace_back(NSRange{start, std::min(endOfRun(run), range.end()) - start},
                           runs_[run].attributes);
    }
    bool stop = false;
    for (const auto& [place, attributes] : found) {
        usingBlock(attributes, place, stop);
        if (stop) {
            return;
        }
    }
}

Ref<NSAttributedString> NSAttributedString::attributedSubstringFromRange(NSRange range) const {
    check(range);
    auto part = make<NSAttributedString>();
    part->append(*this, range);
    return part;
}

bool NSAttributedString::isEqualToAttributedString(const Ref<NSAttributedString>& other) const {
    return other && units_ == other->units_ &&
           std::equal(runs_.begin(), runs_.end(), other->runs_.begin(), other->runs_.end(),
                      [](const Run& left, const Run& right) {
                          return left.start == right.start && same(left.attributes, right.attributes);
                      });
}

Ref<NSMutableAttributedString> NSAttributedString::mutableCopy() const {
    return NSMutableAttributedString::initWithAttributedString(refTo(*this));
}

// What changes.

/// Lets a run start at `index` and answers which one; the number of runs for the end of the text.
std::size_t NSMutableAttributedString::splitAt(std::size_t index) {
    if (index == length()) {
        return runs_.size();
    }
    const auto run = runAt(index);
    if (runs_[run].start == index) {
        return run;
    }
    runs_.insert(runs_.begin() + static_cast<std::ptrdiff_t>(run) + 1, {index, runs_[run].attributes});
    return run + 1;
}

/// Joins equal neighbours, of which the later one is a run of [from, to].
void NSMutableAttributedString::joinRuns(std::size_t from, std::size_t to) {
    const auto first = runs_.begin() + static_cast<std::ptrdiff_t>(from == 0 ? 0 : from - 1);
    const auto last = runs_.begin() + static_cast<std::ptrdiff_t>(std::min(to + 1, runs_.size()));
    const auto end = std::unique(first, last, [](const Run& left, const Run& right) {
        return same(left.attributes, right.attributes);
    });
    runs_.erase(end, last);
}

template <class F>
void NSMutableAttributedString::changeAttributes(NSRange range, F&& changed) {
    check(range);
    if (range.length == 0) {
        return;
    }
    const auto first = splitAt(range.location);
    const auto last = splitAt(range.end());
    for (auto run = first; run < last; ++run) {
        runs_[run].attributes = changed(runs_[run].attributes);
    }
    joinRuns(first, last);
}

void NSMutableAttributedString::addAttributes(const Ref<NSDictionary>& attributes, NSRange range) {
    changeAttributes(range, [&](const Ref<NSDictionary>& present) -> Ref<NSDictionary> {
        if (!attributes || attributes->count() == 0) {
            return present;
        }
        auto merged = present->mutableCopy();
        for (const auto& [name, value] : *attributes) {
            merged->setObjectForKey(value, name);
        }
        return merged->copy();
    });
}

void NSMutableAttributedString::addAttribute(std::string_view name, const id& value, NSRange range) {
    addAttributes(NSDictionary::dictionary({{name, value}}), range);
}

void NSMutableAttributedString::setAttributes(const Ref<NSDictionary>& attributes, NSRange range) {
    changeAttributes(range, [attributes = kept(attributes)](const auto&) { return attributes; });
}

void NSMutableAttributedString::removeAttribute(std::string_view name, NSRange range) {
    changeAttributes(range, [&](const Ref<NSDictionary>& present) -> Ref<NSDictionary> {
        auto left = present->mutableCopy();
        left->removeObjectForKey(name);
        return left->copy();
    });
}

/// `runs` are those of the new units, from 0 on.
void NSMutableAttributedString::replace(NSRange range, std::u16string_view units, std::vector<Run> runs) {
    const auto first = splitAt(range.location);
    const auto last = splitAt(range.end());
    for (auto run = last; run < runs_.size(); ++run) {
        runs_[run].start = runs_[run].start - range.length + units.size();
    }
    for (auto& run : runs) {
        run.start += range.location;
    }
    const auto place = runs_.begin() + static_cast<std::ptrdiff_t>(first);
    const auto count = runs.size();
    runs_.insert(runs_.erase(place, place + static_cast<std::ptrdiff_t>(last - first)),
                 std::make_move_iterator(runs.begin()), std::make_move_iterator(runs.end()));
    units_.replace(range.location, range.length, units);
    joinRuns(first, first + count);
}

void NSMutableAttributedString::replaceCharactersInRange(
    NSRange range, const Ref<NSAttributedString>& withAttributedString) {
    check(range);
    // A copy: it may be this text.
    const auto replacement = initWithAttributedString(withAttributedString);
    replace(range, replacement->units_, replacement->runs_);
}

void NSMutableAttributedString::replaceCharactersInRange(NSRange range, std::string_view withString) {
    check(range);
    const auto units = utf16(withString);
    std::vector<Run> runs;
    if (!units.empty()) {
        const auto like = range.length > 0 || range.location == 0 ? range.location : range.location - 1;
        runs.push_back({0, length() == 0 ? noAttributes() : runs_[runAt(like)].attributes});
    }
    replace(range, units, std::move(runs));
}

void NSMutableAttributedString::deleteCharactersInRange(NSRange range) {
    check(range);
    replace(range, {}, {});
}

void NSMutableAttributedString::appendAttributedString(const Ref<NSAttributedString>& string) {
    replaceCharactersInRange({length(), 0}, string);
}

void NSMutableAttributedString::appendUnits(std::u16string_view units, const Ref<NSDictionary>& attributes) {
    append(units, kept(attributes));
}

void NSMutableAttributedString::setAttributedString(const Ref<NSAttributedString>& string) {
    replaceCharactersInRange({0, length()}, string);
}

}  // namespace qz
