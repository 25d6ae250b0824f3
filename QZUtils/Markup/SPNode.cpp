#include "QZUtils/Markup/SPNode.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include "Platform/Foundation/Containers.h"
#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Runtime/ClassBuilder.h"
#include "Platform/Runtime/KeyValueCoding.h"
#include "QZUtils/Extensions/NSString/NSString+QZXML.h"

namespace qz {

QZ_DEFINE_CLASS(SPNode, cls) {
    cls.method("description", [](const SPNode& self) {
        std::string text;
        self.appendToString(&text, 0);
        return text;
    });
    cls.property("name", &SPNode::name);
    cls.property("parent", &SPNode::parent);
    cls.property("value", [](const SPNode& self) { return self.value() ? id(*self.value()) : id(); });
    cls.property("attributes", [](SPNode& self) { return id(self.allAttributes()); });
    cls.method("stringValue", &SPNode::stringValue);
    cls.method("hasChildNodes", &SPNode::hasChildNodes);
    cls.method("hasAttributes", &SPNode::hasAttributes);
    cls.method("length", &SPNode::length);
    cls.method("firstChildWithName:", &SPNode::firstChildWithName);
    cls.method("addAttributes:", &SPNode::addAttributes);
    cls.method("appendAttribute:value:", &SPNode::appendAttribute);
    cls.method("addValueChars:", &SPNode::addValueChars);
}

Ref<SPNode> SPNode::initWithName(std::string_view name) {
    return make<SPNode>(name);
}

namespace {

/// glibc's malloc keeps small blocks that were freed unmerged until somebody asks for a large one (the "fast
/// bins" of malloc/malloc.c). The millions of a tree, merged at once, have all left the caches by then: that
/// takes longer than everything else about freeing. A large block that is asked for now and then has them
/// merged while they are near.
void mergeFreedMemory() {
    constexpr std::size_t large = 2048;
    ::operator delete(::operator new(large));
}

}  // namespace

SPNode::~SPNode() {
    if (childs_.empty()) {
        return;
    }
    // Children that nobody else holds are freed here, one after the other: a chain of destructors would need
    // a stack as deep as the tree. They go in document order, which a parser made them in: through memory
    // from the front, the caches help.
    struct Level {
        Nodes nodes;
        std::size_t next = 0;
    };
    std::vector<Level> levels;
    levels.push_back({std::move(childs_)});
    for (std::size_t freed = 1; !levels.empty(); ++freed) {
        auto& [nodes, next] = levels.back();
        if (next == nodes.size()) {
            levels.pop_back();
            continue;
        }
        if (freed % 1024 == 0) {
            mergeFreedMemory();
        }
        const auto node = std::move(nodes[next++]);
        if (node.use_count() == 1 && !node->childs_.empty()) {
            levels.push_back({std::move(node->childs_)});
        }
    }
}

Ref<SPNode> SPNode::childAtIndex(std::int64_t index) const {
    const auto place = static_cast<std::int32_t>(index);
    return place >= 0 && static_cast<std::size_t>(place) < childs_.size()
               ? childs_[static_cast<std::size_t>(place)]
               : nullptr;
}

const Ref<SPNode>& SPNode::nodeAtIndex(std::int64_t index) const {
    const auto place = static_cast<std::size_t>(index);  // a negative one lies beyond the end
    internal::checkIndex(place, childs_.size());
    return childs_[place];
}

const std::string& SPNode::nodeNameAtIndex(std::int64_t index) const {
    return nodeAtIndex(index)->name();
}

Ref<SPNode> SPNode::firstChildWithName(std::string_view name) const {
    const auto found = std::ranges::find(childs_, name, [](const auto& child) { return child->name(); });
    return found == childs_.end() ? nullptr : *found;
}

void SPNode::appendChild(const Ref<SPNode>& child) {
    appendChild(child, static_cast<std::int64_t>(childs_.size()));
}

void SPNode::appendChild(const Ref<SPNode>& child, std::int64_t atIndex) {
    internal::checkPresent(child);
    const auto place = static_cast<std::size_t>(atIndex);
    internal::checkIndex(place, childs_.size() + 1);
    child->parent_ = std::static_pointer_cast<SPNode>(ref());
    childs_.insert(childs_.begin() + atIndex, child);
}

void SPNode::addAttributes(const Ref<NSDictionary>& attributes) {
    if (!attributes || attributes->count() == 0) {
        return;
    }
    if (!hasAttributes() && !attributes_) {
        given_ = attributes->copy();
        return;
    }
    auto& own = *allAttributes();
    for (const auto& [name, value] : *attributes) {
        own.setObjectForKey(value, name);
    }
}

void SPNode::appendAttribute(std::string_view name, const id& value) {
    setValueForKey(allAttributes(), value, name);
}

id SPNode::attribute(std::string_view name) const {
    const NSDictionary* const attributes = attributes_ ? attributes_.get() : given_.get();
    return attributes ? attributes->objectForKey(name) : id();
}

id SPNode::attribute(std::string_view name, std::int64_t atIndex) const {
    return nodeAtIndex(atIndex)->attribute(name);
}

const Ref<NSMutableDictionary>& SPNode::allAttributes() {
    if (!attributes_) {
        attributes_ = given_ ? given_->mutableCopy() : NSMutableDictionary::dictionary();
        given_ = nullptr;
    }
    return attributes_;
}

bool SPNode::hasAttributes() const noexcept {
    return given_ || (attributes_ && attributes_->count() != 0);
}

const std::string& SPNode::stringValue() const noexcept {
    static const std::string none;
    return value_ ? *value_ : none;
}

void SPNode::addValueChars(Text chars) {
    if (chars && value_) {
        value_->append(chars.view());
    } else if (chars) {
        value_.emplace(chars.view());
    }
}

bool SPNode::hasContent() const noexcept {
    return hasChildNodes() || !stringValue().empty();
}

namespace {

void beginLine(std::string& target, int indent) {
    const auto width = static_cast<std::size_t>(std::abs(2LL * indent));
    target.append(1, '\n').append(width, ' ');
}

}  // namespace

void SPNode::appendOpening(std::string& target, int indent) const {
    beginLine(target, indent);
    target.append("<").append(name_);
    if (hasAttributes()) {
        const NSDictionary& attributes = attributes_ ? *attributes_ : *given_;
        for (const auto& [name, value] : attributes) {
            target.append(" ").append(descriptionOf(name)).append("='");
            const auto* const text = dynamic_cast<const NSString*>(value.get());
            appendXMLEncodedString(text ? text->string() : descriptionOf(value), target);
            target.append("'");
        }
    }
    target.append(hasContent() ? " >" : " />");
    appendXMLEncodedString(stringValue(), target);
}

void SPNode::appendClosing(std::string& target, int indent) const {
    beginLine(target, indent);
    target.append("</").append(name_).append(">");
}

void SPNode::appendToString(std::string* target, int indent) const {
    if (!target) {
        return;
    }
    struct Open {
        const SPNode* node;
        std::size_t next = 0;  // the child to be written next
    };
    std::vector<Open> open;
    const auto begin = [&](const SPNode& node) {
        node.appendOpening(*target, indent + static_cast<int>(open.size()));
        if (node.hasContent()) {
            open.push_back({&node});
        }
    };
    begin(*this);
    while (!open.empty()) {
        auto& [node, next] = open.back();
        if (next < node->childs_.size()) {
            begin(*node->childs_[next++]);
        } else {
            const auto& done = *node;
            open.pop_back();
            done.appendClosing(*target, indent + static_cast<int>(open.size()));
        }
    }
}

void SPNode::appendToData(NSData* target) const {
    if (target) {
        std::string bytes(target->text());
        std::string text;
        appendToString(&text, 0);
        bytes.append(text, 0, text.find('\0'));
        *target = NSData::dataWithText(bytes);
    }
}

}  // namespace qz
