// What the writer and the reader of keyed archives share: the words of the layout, and the rules for how
// objects may stand in each other.
#pragma once

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "Platform/Foundation/NSPropertyListSerialization.h"

namespace qz::internal {

inline constexpr std::int64_t archiveVersion = 100000;
inline constexpr std::string_view archiveVersionKey = "$version";
inline constexpr std::string_view archiverKey = "$archiver";
inline constexpr std::string_view archiveTopKey = "$top";
inline constexpr std::string_view archiveObjectsKey = "$objects";
/// The first of the objects, which references to nil name.
inline constexpr std::string_view archiveNull = "$null";
inline constexpr std::string_view archiveClassKey = "$class";
inline constexpr std::string_view archiveClassNameKey = "$classname";
inline constexpr std::string_view archiveClassesKey = "$classes";

/// The key as it is written: words that begin with "$" are the layout's own.
[[nodiscard]] inline std::string archiveKey(std::string_view key) {
    return (key.starts_with('$') ? "$" : "") + std::string(key);
}

struct ArchiveFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Follows how the objects of an archive stand in each other. Nesting is bounded, for whoever walks through
/// the objects later too, and circles are let pass where they can be rebuilt: an object of a coding class
/// exists before it is filled, and so does a mutable container. A circle of containers alone is refused all
/// the same, since nobody could compare, describe or release it.
class ArchiveNesting {
public:
    enum class Kind : std::uint8_t { Leaf, Container, MutableContainer, Coding };

    struct Node {
        bool isOpen = false;
        Kind kind = Kind::Leaf;
        int height = 0;  // how many objects stand in each other below it
        int codingAround = 0;
    };

    /// The object's contents are walked through while this lives.
    class Place {
    public:
        Place(ArchiveNesting& nesting, Node& node, Kind kind) : nesting_(nesting), node_(node) {
            nesting_.require(node.height);
            ++nesting_.depth_;
            node_ = {true, kind, 0, nesting_.coding_};
            nesting_.coding_ += kind == Kind::Coding ? 1 : 0;
            outerHeight_ = std::exchange(nesting_.height_, 0);
        }
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;
        ~Place() {
            --nesting_.depth_;
            nesting_.coding_ = node_.codingAround;
            node_.isOpen = false;
            node_.height = std::exchange(nesting_.height_, outerHeight_);
            nesting_.addBelow(node_);
        }

    private:
        ArchiveNesting& nesting_;
        Node& node_;
        int outerHeight_ = 0;
    };

    /// The object whose contents are walked through refers to one that was met before.
    void refer(const Node& node) {
        if (!node.isOpen) {
            require(node.height);
            addBelow(node);
        } else if (node.kind != Kind::Coding &&
                   (node.kind != Kind::MutableContainer || node.codingAround == coding_)) {
            throw ArchiveFailure("an object contains itself");
        }
    }

    /// Whether no object's contents are walked through.
    [[nodiscard]] bool isOutside() const noexcept { return depth_ == 0; }

private:
    void require(int height) const {
        if (depth_ + height >= NSPropertyListSerialization::maximumDepth) {
            throw ArchiveFailure("objects are nested too deeply");
        }
    }
    void addBelow(const Node& node) { height_ = std::max(height_, node.height + 1); }

    int depth_ = 0;
    int height_ = 0;
    int coding_ = 0;  // objects of coding classes around the present place
};

}  // namespace qz::internal
