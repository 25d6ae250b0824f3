// SPNode: an element of an XML document in memory (SPXML.h): a name, attributes, text and children.
//
//     const auto issue = SPNode::initWithName("issue");
//     issue->appendAttribute("id", "7");
//     issue->addValueChars("Daily");
//     shelf->appendChild(issue);
//     issue->description();  // "\n<issue id='7' >Daily\n</issue>"
//
// A node owns its children and knows its parent weakly, so a tree is freed from its top. A node that is
// appended to another parent is not taken from the first one. Trees of any depth are written and freed in
// constant stack; one that contains itself is never freed, and never written to an end.
//
// THE WRITTEN FORM, which readers compare byte by byte: every tag begins a line of its own, two blanks a
// level; attribute values stand in single quotes; a blank stands before ">" and "/>". The text follows the
// opening tag, so the line break and the blanks before the closing tag become part of it when it is read
// again.
//
// Used by one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/NSData.h"
#include "Platform/Runtime/Id.h"

namespace qz {

class NSDictionary;
class NSMutableDictionary;

class QZ_EXPORT SPNode : public NSObject {
    QZ_OBJECT(SPNode, NSObject)
public:
    using Nodes = std::vector<Ref<SPNode>>;

    [[nodiscard]] static Ref<SPNode> initWithName(std::string_view name);
    ~SPNode() override;

    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    /// Null for a top node.
    [[nodiscard]] Ref<SPNode> parent() const noexcept { return parent_.lock(); }

    // Children, in document order.

    [[nodiscard]] const Nodes& childs() const noexcept { return childs_; }
    [[nodiscard]] bool hasChildNodes() const noexcept { return !childs_.empty(); }
    [[nodiscard]] std::size_t length() const noexcept { return childs_.size(); }
    /// Null outside of the bounds. Of the index the lower 32 bits count, as a signed number.
    [[nodiscard]] Ref<SPNode> childAtIndex(std::int64_t index) const;
    /// Raises NSRangeException outside of the bounds.
    [[nodiscard]] const Ref<SPNode>& nodeAtIndex(std::int64_t index) const;
    [[nodiscard]] const std::string& nodeNameAtIndex(std::int64_t index) const;
    /// Null when there is none.
    [[nodiscard]] Ref<SPNode> firstChildWithName(std::string_view name) const;
    /// Raises NSInvalidArgumentException for null.
    void appendChild(const Ref<SPNode>& child);
    /// An index of length() appends; NSRangeException beyond it.
    void appendChild(const Ref<SPNode>& child, std::int64_t atIndex);

    // Attributes: values, usually texts, by name.

    /// Equal names are replaced. Nothing happens for null.
    void addAttributes(const Ref<NSDictionary>& attributes);
    /// Set by key-value coding; nil removes the attribute.
    void appendAttribute(std::string_view name, const id& value);
    /// Nil when there is none.
    [[nodiscard]] id attribute(std::string_view name) const;
    /// That of a child; raises NSRangeException outside of the bounds.
    [[nodiscard]] id attribute(std::string_view name, std::int64_t atIndex) const;
    /// The node's own: what is changed there is changed here.
    [[nodiscard]] const Ref<NSMutableDictionary>& allAttributes();
    [[nodiscard]] bool hasAttributes() const noexcept;

    // Text.

    /// Nullopt until text is added.
    [[nodiscard]] const std::optional<std::string>& value() const noexcept { return value_; }
    /// Empty when there is none.
    [[nodiscard]] const std::string& stringValue() const noexcept;
    /// Appended as it is; nothing happens for nil.
    void addValueChars(Text chars);

    // Writing. Values that are no texts are written by their description.

    /// Appends the node, `indent` levels in; nothing happens for a null target.
    void appendToString(std::string* target, int indent) const;
    /// Appends the bytes of the node at level 0, up to the first zero byte; nothing happens for a null
    /// target.
    void appendToData(NSData* target) const;

protected:
    explicit SPNode(std::string_view name) : name_(name) {}

private:
    /// Whether anything stands between the tags.
    [[nodiscard]] bool hasContent() const noexcept;
    void appendOpening(std::string& target, int indent) const;
    void appendClosing(std::string& target, int indent) const;

    const std::string name_;
    std::weak_ptr<SPNode> parent_;
    Nodes childs_;
    std::optional<std::string> value_;
    // Most nodes are only read: one dictionary of a parser serves until somebody asks for the node's own.
    Ref<NSDictionary> given_;              // null when there is none, or when there are own ones
    Ref<NSMutableDictionary> attributes_;  // null until needed
};

}  // namespace qz
