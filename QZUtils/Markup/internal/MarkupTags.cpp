#include "QZUtils/Markup/internal/MarkupTags.h"

#include <algorithm>
#include <memory>
#include <string>

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Text/UTF16.h"
#include "QZUtils/Markup/internal/Characters.h"
#include "QZUtils/Markup/internal/CommonPrefix.h"

namespace qz::internal {

namespace {

constexpr std::size_t none = static_cast<std::size_t>(-1);

/// What stands behind "</" in a closing tag: a stretch of the text, with ">" behind it or within it as its
/// last unit.
struct Closing {
    std::size_t start;
    std::size_t length;
    bool withBracket;
};

/// The closing tags of a line, sorted by the text that follows their "</".
class ClosingTags {
public:
    /// A part of the sorted tags.
    struct Part {
        std::size_t first;
        std::size_t last;
    };

    ClosingTags(std::u16string_view text, CommonPrefix& prefix, std::size_t begin, std::size_t end)
        : text_(text), prefix_(prefix) {
        const auto line = text.substr(0, end);  // a search must not go on into other lines
        for (auto at = line.find(u"</", begin); at != none; at = line.find(u"</", at + 1)) {
            sorted_.push_back(at);
        }
        std::sort(sorted_.begin(), sorted_.end(),
                  [this](std::size_t left, std::size_t right) { return isBefore(left + 2, right + 2); });
        // A tree of maxima: the leaves are in its second half, and a node is the greater of its two children.
        greatest_.resize(2 * sorted_.size());
        std::copy(sorted_.begin(), sorted_.end(),
                  greatest_.begin() + static_cast<std::ptrdiff_t>(sorted_.size()));
        for (auto node = sorted_.size(); node-- > 1;) {
            greatest_[node] = std::max(greatest_[2 * node], greatest_[2 * node + 1]);
        }
    }

    [[nodiscard]] Part all() const noexcept { return {0, sorted_.size()}; }

    /// Those of a part that begin with a text.
    [[nodiscard]] Part beginningWith(const Closing& wanted, Part among) const {
        const auto from = sorted_.begin() + static_cast<std::ptrdiff_t>(among.first);
        const auto to = sorted_.begin() + static_cast<std::ptrdiff_t>(among.last);
        const auto first =
            std::partition_point(from, to, [&](std::size_t tag) { return compare(tag + 2, wanted) < 0; });
        const auto last =
            std::partition_point(first, to, [&](std::size_t tag) { return compare(tag + 2, wanted) == 0; });
        return {static_cast<std::size_t>(first - sorted_.begin()),
                static_cast<std::size_t>(last - sorted_.begin())};
    }

    /// The last place in the text of the tags of a part; nullopt when there are none.
    [[nodiscard]] std::optional<std::size_t> lastOf(Part part) const {
        std::optional<std::size_t> last;
        auto left = part.first + sorted_.size();
        auto right = part.last + sorted_.size();
        for (; left < right; left /= 2, right /= 2) {
            if (left % 2 != 0) {
                last = std::max(last, std::optional(greatest_[left++]));
            }
            if (right % 2 != 0) {
                last = std::max(last, std::optional(greatest_[--right]));
            }
        }
        return last;
    }

private:
    [[nodiscard]] bool isBefore(std::size_t left, std::size_t right) const {
        const auto limit = text_.size() - std::max(left, right);
        const auto same = prefix_.length(left, right, limit);
        return same == limit ? left > right : text_[left + same] < text_[right + same];
    }

    /// Below, equal (begins with it) or above zero.
    [[nodiscard]] int compare(std::size_t place, const Closing& wanted) const {
        const auto available = text_.size() - place;
        const auto limit = std::min(available, wanted.length);
        const auto same = prefix_.length(place, wanted.start, limit);
        if (same < limit) {
            return text_[place + same] < text_[wanted.start + same] ? -1 : 1;
        }
        const auto needed = wanted.length + (wanted.withBracket ? 1 : 0);
        if (available < needed) {
            return -1;
        }
        return wanted.withBracket ? static_cast<int>(text_[place + same]) - static_cast<int>(u'>') : 0;
    }

    std::u16string_view text_;
    CommonPrefix& prefix_;
    std::vector<std::size_t> sorted_;
    std::vector<std::size_t> greatest_;
};

/// A line, and what of it the search needs again and again.
struct Line {
    Line(std::u16string_view text, CommonPrefix& prefix, std::size_t begin, std::size_t end)
        : closingTags(text, prefix, begin, end) {
        for (auto at = begin; at < end; ++at) {
            if (text[at] == u'>') {
                brackets.push_back(at);
            }
        }
    }

    /// The number of brackets before a place.
    [[nodiscard]] std::size_t bracketsBefore(std::size_t place) const {
        return static_cast<std::size_t>(std::lower_bound(brackets.begin(), brackets.end(), place) -
                                        brackets.begin());
    }

    ClosingTags closingTags;
    std::vector<std::size_t> brackets;  // where ">" stands
};

class TagSearch {
public:
    explicit TagSearch(std::u16string_view text) : text_(text), prefix_(text) {
        lineStarts_.push_back(0);
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (isLineEnd(text[i])) {
                lineStarts_.push_back(i + 1);
            }
        }
        lines_.resize(lineStarts_.size());
    }

    [[nodiscard]] std::vector<MarkupTag> all() {
        std::vector<MarkupTag> tags;
        for (auto start = text_.find(u'<'); start != none;) {
            const auto tag = tagAt(start);
            if (tag) {
                tags.push_back(*tag);
            }
            start = text_.find(u'<', tag ? tag->whole.end() : start + 1);
        }
        return tags;
    }

private:
    /// The match that begins with a given "<". A name reaches as far as it can: first to the blank behind it,
    /// with attributes, then to one ">" after the other from the last one back.
    [[nodiscard]] std::optional<MarkupTag> tagAt(std::size_t start) {
        findWord(start + 1);
        if (wordEnd_ == start + 1) {
            return std::nullopt;
        }
        auto tag = tagWithAttributes(start);
        return tag ? tag : tagWithoutAttributes(start);
    }

    /// The name is the whole word; the attributes end before the last ">" that still has a closing tag
    /// behind it in their line.
    [[nodiscard]] std::optional<MarkupTag> tagWithAttributes(std::size_t start) {
        const auto attributes = blanksEnd_;
        if (attributes == text_.size() || attributes == wordEnd_) {
            return std::nullopt;
        }
        const auto& line = lineOf(attributes);
        const NSRange name{start + 1, wordEnd_ - start - 1};
        const auto& tags = line.closingTags;
        const auto last = tags.lastOf(tags.beginningWith({name.location, name.length, true}, tags.all()));
        const auto before = last ? line.bracketsBefore(*last) : 0;
        if (before == 0 || line.brackets[before - 1] < attributes) {
            return std::nullopt;
        }
        const auto bracket = line.brackets[before - 1];
        return found(start, name, NSRange{attributes, bracket - attributes}, bracket);
    }

    /// The name ends before a ">" within the word. When a closing tag follows for one ">", then for every
    /// one before it too, with the shorter name; so the last one that has is found by halving.
    [[nodiscard]] std::optional<MarkupTag> tagWithoutAttributes(std::size_t start) {
        const auto& line = lineOf(start);
        const auto first = line.bracketsBefore(start + 2);  // a name has a unit at least
        const auto last = line.bracketsBefore(wordEnd_);
        auto part = line.closingTags.all();
        const auto isClosed = [&](std::size_t bracket) {
            const auto end = line.brackets[bracket];
            const auto longer = line.closingTags.beginningWith({start + 1, end - start, false}, part);
            const auto closing = line.closingTags.lastOf(longer);
            if (!closing || *closing <= end) {
                return false;
            }
            part = longer;  // longer names are among these
            return true;
        };
        if (first >= last || !isClosed(first)) {
            return std::nullopt;
        }
        // Names are short: doubled steps from the first one on find the stretch to halve.
        auto closed = first;
        auto open = last;
        for (std::size_t step = 1; closed + step < open; step *= 2) {
            if (!isClosed(closed + step)) {
                open = closed + step;
                break;
            }
            closed += step;
        }
        while (open - closed > 1) {
            const auto middle = closed + (open - closed) / 2;
            (isClosed(middle) ? closed : open) = middle;
        }
        const auto bracket = line.brackets[closed];
        return found(start, {start + 1, bracket - start - 1}, std::nullopt, bracket);
    }

    /// The text reaches to the first closing tag, which is known to be there.
    [[nodiscard]] MarkupTag found(std::size_t start, NSRange name, std::optional<NSRange> attributes,
                                  std::size_t bracket) const {
        std::u16string closing(u"</");
        closing.append(text_.substr(name.location, name.length)).push_back(u'>');
        const auto textEnd = text_.find(closing, bracket + 1);
        return {{start, textEnd + closing.size() - start},
                name,
                attributes,
                {bracket + 1, textEnd - bracket - 1}};
    }

    /// Sets the end of the word that a place stands in, and of the blanks behind it. Places come in order, so
    /// that each unit is looked at once.
    void findWord(std::size_t place) {
        if (place < wordEnd_) {
            return;
        }
        for (wordEnd_ = place; wordEnd_ < text_.size() && !isSpace(text_[wordEnd_]);) {
            ++wordEnd_;
        }
        for (blanksEnd_ = wordEnd_; blanksEnd_ < text_.size() && isSpace(text_[blanksEnd_]);) {
            ++blanksEnd_;
        }
    }

    [[nodiscard]] const Line& lineOf(std::size_t place) {
        const auto behind = std::upper_bound(lineStarts_.begin(), lineStarts_.end(), place);
        const auto index = static_cast<std::size_t>(behind - lineStarts_.begin()) - 1;
        if (!lines_[index]) {
            const auto end = behind == lineStarts_.end() ? text_.size() : *behind - 1;
            lines_[index] = std::make_unique<Line>(text_, prefix_, lineStarts_[index], end);
        }
        return *lines_[index];
    }

    std::u16string_view text_;
    CommonPrefix prefix_;
    std::vector<std::size_t> lineStarts_;
    std::vector<std::unique_ptr<const Line>> lines_;  // null until needed
    std::size_t wordEnd_ = 0;
    std::size_t blanksEnd_ = 0;
};

bool isQuote(char16_t unit) {
    return unit == u'"' || unit == u'\'';
}

/// The attributes of a tag. What is asked for again and again is prepared in one walk from the end.
class AttributeSearch {
public:
    explicit AttributeSearch(std::u16string_view text)
        : text_(text), places_(text.size() + 1, Place{text.size(), text.size(), none, none}) {
        for (auto i = text.size(); i-- > 0;) {
            const auto& next = places_[i + 1];
            auto& place = places_[i];
            if (isSpace(text[i])) {
                place.word = next.word;
                place.wordEnd = i;
            } else {
                place.word = i;
                place.wordEnd = next.wordEnd;
                place.lastEquals = next.lastEquals;
                if (place.lastEquals == none && text[i] == u'=') {
                    place.lastEquals = i;
                }
            }
            place.stop = stopsAt(i) ? i : next.stop;
        }
    }

    [[nodiscard]] Ref<NSDictionary> all() const {
        auto attributes = NSMutableDictionary::dictionary();
        for (std::size_t at = 0; at < text_.size();) {
            const auto start = places_[at].word;
            if (start == text_.size()) {
                break;
            }
            if (const auto found = attributeAt(start)) {
                const auto& [nameEnd, value] = *found;
                attributes->setObjectForKey(utf8(text_.substr(value.location, value.length)),
                                            utf8(text_.substr(start, nameEnd - start)));
                at = value.end();
                at += at < text_.size() && isQuote(text_[at]) ? 1 : 0;
            } else {
                at = places_[start].wordEnd;  // no later start in the word has another "="
            }
        }
        return attributes;
    }

private:
    struct Place {
        std::size_t word;        // where the next word begins, here or later
        std::size_t wordEnd;     // where the word ends; here, for a blank
        std::size_t lastEquals;  // the last "=" of the word from here on
        std::size_t stop;        // the next place that a value does not reach into
    };

    /// Whether the negative lookahead of the expression matches here: another attribute begins behind this
    /// place, or the tag or a quotation ends.
    [[nodiscard]] bool stopsAt(std::size_t at) const {
        const auto blank = at + (isQuote(text_[at]) ? 1 : 0);
        if (blank < text_.size() && isSpace(text_[blank])) {
            const auto word = places_[blank + 1].word;
            // A name has a unit at least, so an "=" that begins the word does not count.
            if (word < text_.size() && places_[word].lastEquals != none && places_[word].lastEquals > word) {
                return true;
            }
        }
        auto end = isSpace(text_[at]) ? places_[at].word : at;
        end += end < text_.size() && text_[end] == u'/' ? 1 : 0;
        return end < text_.size() && (text_[end] == u'>' || isQuote(text_[end]));
    }

    struct Attribute {
        std::size_t nameEnd;
        NSRange value;
    };

    /// The attribute whose name begins at a place and ends at the last "=" of the word that a value follows.
    [[nodiscard]] std::optional<Attribute> attributeAt(std::size_t start) const {
        for (auto equals = places_[start].lastEquals; equals != none && equals > start; --equals) {
            if (text_[equals] != u'=') {
                continue;
            }
            const auto behind = equals + 1;
            auto value = behind < text_.size() && isQuote(text_[behind]) ? valueAt(behind + 1) : std::nullopt;
            // A quotation of one unit is none: the mark then belongs to the value, as the expression has it.
            value = value ? value : valueAt(behind);
            if (value) {
                return Attribute{equals, *value};
            }
        }
        return std::nullopt;
    }

    /// A value has two characters at least.
    [[nodiscard]] std::optional<NSRange> valueAt(std::size_t start) const {
        if (start >= text_.size()) {
            return std::nullopt;
        }
        const auto isPair = (text_[start] & 0xFC00) == 0xD800 && start + 1 < text_.size() &&
                            (text_[start + 1] & 0xFC00) == 0xDC00;
        const auto stop = std::min(places_[start + 1].stop, text_.size());
        return stop > start + (isPair ? 2 : 1) ? std::optional(NSRange{start, stop - start}) : std::nullopt;
    }

    std::u16string_view text_;
    std::vector<Place> places_;
};

}  // namespace

std::vector<MarkupTag> markupTags(std::u16string_view text) {
    return TagSearch(text).all();
}

Ref<NSDictionary> markupAttributes(std::u16string_view attributes) {
    return AttributeSearch(attributes).all();
}

}  // namespace qz::internal
