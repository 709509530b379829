// Trees that pass. See passing_tree.hpp.
#include "libxml/passing_tree.hpp"

#include "libxml/library_version.hpp"
#include "libxml/xml_work.hpp"

#include <libxml/dict.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <cstring>
#include <new>

// Where a namespace is kept is deprecated in later versions, and read there all the same.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace host {

namespace {

// Bytes of the first piece of memory, which stays for the next element.
constexpr std::size_t k_first_segment = 8192;
constexpr std::size_t k_largest_segment = 262144;
constexpr std::size_t k_alignment = alignof(std::max_align_t);
// libxml2 keeps five pointers for each attribute: name, prefix, URI, where the value begins and
// ends.
constexpr int k_pointers_per_attribute = 5;

// A name whose prefix nobody declared stands as a whole in no namespace.
[[nodiscard]] const xmlChar *whole_name(xmlParserCtxtPtr context, const xmlChar *prefix,
                                        const xmlChar *uri, const xmlChar *name) noexcept {
    return prefix != nullptr && uri == nullptr ? xmlDictQLookup(context->dict, prefix, name) : name;
}

} // namespace

passing_tree::~passing_tree() {
    drop();
    xmlFree(segments_);
}

bool passing_tree::add_segment(std::size_t size) noexcept {
    const std::size_t usual =
        segments_ == nullptr ? k_first_segment : std::min(2 * segments_->size, k_largest_segment);
    size = std::max(size, usual);
    auto *const memory = static_cast<segment *>(xmlMalloc(sizeof(segment) + size));
    if (memory == nullptr) {
        return false;
    }
    segments_ = new (memory) segment{segments_, size};
    next_ = segments_->begin();
    end_ = next_ + size;
    return true;
}

void *passing_tree::room(std::size_t size) noexcept {
    size = (size + k_alignment - 1) / k_alignment * k_alignment;
    if (static_cast<std::size_t>(end_ - next_) < size && !add_segment(size)) {
        return nullptr;
    }
    void *const found = next_;
    next_ += size;
    return found;
}

template <class Object> Object *passing_tree::make() noexcept {
    void *const memory = room(sizeof(Object));
    return memory == nullptr ? nullptr : new (memory) Object{};
}

xmlChar *passing_tree::copy(const xmlChar *bytes, std::size_t size) noexcept {
    auto *const copied = static_cast<xmlChar *>(room(size + 1));
    if (copied != nullptr) {
        std::memcpy(copied, bytes, size);
        copied[size] = 0;
    }
    return copied;
}

xmlNodePtr passing_tree::make_node(xmlElementType type, const xmlChar *name,
                                   xmlNodePtr parent) noexcept {
    auto *const node = make<xmlNode>();
    if (node != nullptr) {
        node->type = type;
        node->name = name;
        node->doc = document_;
        node->parent = parent;
    }
    return node;
}

// Behind the last child of its parent.
void passing_tree::link(xmlNodePtr node) noexcept {
    xmlNodePtr const parent = node->parent;
    node->prev = parent->last;
    (parent->last != nullptr ? parent->last->next : parent->children) = node;
    parent->last = node;
}

// A node behind the last child of the open element.
xmlNodePtr passing_tree::add_node(xmlElementType type, const xmlChar *name) noexcept {
    xmlNodePtr const node = make_node(type, name, at_);
    if (node != nullptr) {
        link(node);
    }
    return node;
}

xmlNsPtr passing_tree::space(const xmlChar *prefix, const xmlChar *uri) noexcept {
    if (last_space_ != nullptr && last_space_->prefix == prefix && last_space_->href == uri) {
        return last_space_;
    }
    auto *const made = make<xmlNs>();
    if (made != nullptr) {
        made->type = XML_LOCAL_NAMESPACE;
        made->href = uri;
        made->prefix = prefix;
        made->context = document_;
        last_space_ = made;
    }
    return made;
}

bool passing_tree::add_namespaces(xmlNodePtr element, int count,
                                  const xmlChar **namespaces) noexcept {
    xmlNs **end = &element->nsDef;
    for (int i = 0; i < count; ++i) {
        last_space_ = nullptr; // a declaration stands in one list
        xmlNsPtr const made = space(namespaces[2 * i], namespaces[2 * i + 1]);
        if (made == nullptr) {
            return false;
        }
        *end = made;
        end = &made->next;
    }
    return true;
}

bool passing_tree::add_attributes(xmlParserCtxtPtr context, xmlNodePtr element,
                                  const start_tag &tag) noexcept {
    xmlAttrPtr last = nullptr;
    for (int i = 0; i < tag.attributes; ++i) {
        const xmlChar *const *const given = tag.list + k_pointers_per_attribute * i;
        auto *const attribute = make<xmlAttr>();
        auto *const text = make<xmlNode>();
        xmlChar *const value = copy(given[3], static_cast<std::size_t>(given[4] - given[3]));
        if (attribute == nullptr || text == nullptr || value == nullptr) {
            return false;
        }
        attribute->type = XML_ATTRIBUTE_NODE;
        attribute->name = whole_name(context, given[1], given[2], given[0]);
        attribute->ns =
            given[1] != nullptr && given[2] != nullptr ? space(given[1], given[2]) : nullptr;
        if (attribute->name == nullptr || (given[2] != nullptr && attribute->ns == nullptr)) {
            return false;
        }
        attribute->doc = document_;
        attribute->parent = element;
        attribute->children = attribute->last = text;
        text->type = XML_TEXT_NODE;
        text->name = xmlStringText;
        text->content = value;
        text->doc = document_;
        text->parent = reinterpret_cast<xmlNodePtr>(attribute);
        attribute->prev = last;
        (last != nullptr ? last->next : element->properties) = attribute;
        last = attribute;
    }
    return true;
}

bool passing_tree::begin_element(xmlParserCtxtPtr context, const start_tag &tag,
                                 const xmlChar **namespaces) noexcept {
    if (passed_over_ != 0) {
        ++passed_over_;
        return true;
    }
    const xmlChar *const name = whole_name(context, tag.prefix, tag.uri, tag.name);
    xmlNodePtr element = nullptr;
    if (at_ == nullptr) {
        // libxml2 may free the document before the element has ended: until then no other node
        // knows of it.
        document_ = context->myDoc;
        element = top_ = make_node(XML_ELEMENT_NODE, name, context->node);
    } else {
        element = add_node(XML_ELEMENT_NODE, name);
    }
    if (element == nullptr) {
        return false;
    }
    at_ = element;
    if (!add_namespaces(element, tag.namespaces, namespaces)) {
        return false;
    }
    if (tag.uri != nullptr) {
        element->ns = space(tag.prefix, tag.uri);
    }
    return name != nullptr && (tag.uri == nullptr || element->ns != nullptr) &&
           add_attributes(context, element, tag);
}

void passing_tree::pass_over() noexcept {
    drop();
    passed_over_ = 1;
}

bool passing_tree::end_element() noexcept {
    if (passed_over_ != 0) {
        --passed_over_;
        return false;
    }
    if (at_ == top_) {
        before_ = top_->parent->last;
        link(top_);
        at_ = nullptr;
        return true;
    }
    at_ = at_->parent;
    return false;
}

// The text is what was made last: it grows where it stands as long as there is room, else into
// memory of its own, which doubles.
bool passing_tree::grow_text(xmlNodePtr text, const xmlChar *more, std::size_t size) noexcept {
    const std::size_t whole = text_size_ + size + 1;
    auto *place = reinterpret_cast<char *>(text->content);
    if (whole > static_cast<std::size_t>(end_ - place)) {
        if (place == segments_->begin()) {
            auto *const grown =
                static_cast<segment *>(xmlRealloc(segments_, sizeof(segment) + 2 * whole));
            if (grown == nullptr) {
                return false;
            }
            segments_ = grown;
            segments_->size = 2 * whole;
            end_ = segments_->begin() + 2 * whole;
        } else {
            if (!add_segment(2 * whole)) {
                return false;
            }
            std::memcpy(segments_->begin(), place, text_size_);
        }
        place = segments_->begin();
        text->content = reinterpret_cast<xmlChar *>(place);
    }
    std::memcpy(place + text_size_, more, size);
    text_size_ += size;
    place[text_size_] = '\0';
    next_ = place + std::min((text_size_ + k_alignment) / k_alignment * k_alignment,
                             static_cast<std::size_t>(end_ - place));
    return true;
}

bool passing_tree::add_text(xmlElementType type, const xmlChar *text, int size) noexcept {
    if (at_ == nullptr) {
        return true;
    }
    const auto length = static_cast<std::size_t>(size);
    // Neighbouring sections are one up to libxml2 2.13.
    const bool is_joined = type == XML_TEXT_NODE || libxml2_number() < 21400;
    if (is_joined && at_->last != nullptr && at_->last->type == type) {
        return grow_text(at_->last, text, length);
    }
    xmlNodePtr const node = add_node(type, type == XML_TEXT_NODE ? xmlStringText : nullptr);
    if (node == nullptr) {
        return false;
    }
    node->content = copy(text, length);
    text_size_ = length;
    return node->content != nullptr;
}

bool passing_tree::add_leaf(xmlElementType type, const xmlChar *name,
                            const xmlChar *content) noexcept {
    if (at_ == nullptr) {
        return true;
    }
    xmlNodePtr const node = add_node(type, name);
    if (node == nullptr || content == nullptr) {
        return node != nullptr;
    }
    node->content = copy(content, std::strlen(reinterpret_cast<const char *>(content)));
    return node->content != nullptr;
}

void passing_tree::drop() noexcept {
    if (top_ != nullptr && at_ == nullptr) { // it has ended
        xmlNodePtr const parent = top_->parent;
        parent->last = before_;
        (before_ != nullptr ? before_->next : parent->children) = nullptr;
    }
    top_ = at_ = nullptr;
    last_space_ = nullptr;
    while (segments_ != nullptr && segments_->next != nullptr) {
        segment *const gone = segments_;
        segments_ = gone->next;
        xmlFree(gone);
    }
    if (segments_ != nullptr) {
        next_ = segments_->begin();
        end_ = next_ + segments_->size;
    }
}

} // namespace host
