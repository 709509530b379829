// What a node is: its value, its name, its type, its attributes as a map, the value of one
// attribute in a namespace.

#include "functions/call_frame.hpp"
#include "growing_array.hpp"
#include "host/error.hpp"
#include "libxml/xml.hpp"
#include "tree/node_text.hpp"

#include <cstring>

namespace pkg_dbe_xml {

namespace {

std::size_t length_of(const xmlChar *text) noexcept {
    return std::strlen(reinterpret_cast<const char *>(text));
}

text_piece whole_piece(const xmlChar *text) noexcept {
    return {text, text == nullptr ? 0 : length_of(text)};
}

// Puts the texts below a node together, entities unfolded.
class text_collector {
  public:
    explicit text_collector(text_room &room) noexcept : room_(room) {}

    // Appends the texts below `top`, an attribute or an entity reference. Below an attribute only
    // its own texts count; an entity may hold elements, whose texts count too.
    void collect(const xmlNode *top) {
        into_elements_ = top->type == XML_ENTITY_REF_NODE;
        node_ = into_elements_ ? nullptr : first_child(top);
        if (into_elements_) {
            enter(top);
        }
        while (node_ != nullptr || !unfoldings_.empty()) {
            if (node_ == nullptr) {
                return_to_reference();
                continue;
            }
            count(1);
            visit();
        }
    }

  private:
    // An entity whose content is being read, and where to go on after it.
    struct unfolding {
        const xmlNode *reference;
        const xmlEntity *entity;
        std::size_t depth; // of node_ when the reference was met
    };

    void visit() {
        switch (node_->type) {
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE:
            append(node_->content);
            break;
        case XML_COMMENT_NODE:
        case XML_PI_NODE:
            if (into_elements_ && depth_ == 0) {
                append(node_->content);
            }
            break;
        case XML_ENTITY_REF_NODE:
            if (enter(node_)) {
                return;
            }
            break;
        case XML_ELEMENT_NODE:
            if (into_elements_ && node_->children != nullptr && node_->children->parent == node_) {
                node_ = node_->children;
                ++depth_;
                return;
            }
            break;
        default:
            break;
        }
        advance();
    }

    // True when the entity has content to read and is not being read already.
    bool enter(const xmlNode *reference) {
        const xmlEntity *entity = xmlGetDocEntity(reference->doc, reference->name);
        if (entity == nullptr || entity->children == nullptr ||
            unfoldings_.size() == k_deepest_unfolding) {
            return false;
        }
        for (const unfolding &outer : unfoldings_) {
            if (outer.entity == entity) {
                return false;
            }
        }
        unfoldings_.push_back({reference, entity, depth_});
        node_ = entity->children;
        depth_ = 0;
        return true;
    }

    void return_to_reference() {
        const unfolding done = unfoldings_.back();
        unfoldings_.pop_back();
        // The outermost reference is the one whose value is read: nothing follows it.
        if (!(unfoldings_.empty() && into_elements_)) {
            node_ = done.reference;
            depth_ = done.depth;
            advance();
        }
    }

    void advance() noexcept {
        while (depth_ > 0 && node_->next == nullptr) {
            node_ = node_->parent;
            --depth_;
        }
        const bool is_last =
            depth_ == 0 && !unfoldings_.empty() && node_ == unfoldings_.back().entity->last;
        node_ = is_last ? nullptr : node_->next;
    }

    void append(const xmlChar *text) {
        if (text != nullptr) {
            const std::size_t size = length_of(text);
            count(size);
            room_.append(text, size);
        }
    }

    void count(std::size_t amount) {
        unfolded_ += unfoldings_.empty() ? 0 : amount;
        if (unfolded_ > k_largest_unfolding) {
            report(reports::out_of_memory);
        }
        if (++steps_ % 8192 == 0) {
            host::check_for_interrupts();
        }
    }

    text_room &room_;
    growing_array<unfolding, 8> unfoldings_;
    const xmlNode *node_ = nullptr;
    std::size_t depth_ = 0; // elements between node_ and what is being read
    bool into_elements_ = false;
    std::size_t unfolded_ = 0;
    std::size_t steps_ = 0;
};

text_piece collected_text(const xmlNode *node, text_room &room) {
    text_collector(room).collect(node);
    const std::size_t size = room.size();
    room.push_back(0);
    return {room.data(), size};
}

text_piece attribute_text(const xmlNode *attribute, text_room &room) {
    const xmlNode *child = first_child(attribute);
    if (child == nullptr) {
        return whole_piece(BAD_CAST "");
    }
    const bool is_text = child->type == XML_TEXT_NODE || child->type == XML_CDATA_SECTION_NODE;
    if (is_text && child->next == nullptr && child->content != nullptr) {
        return whole_piece(child->content);
    }
    return collected_text(attribute, room);
}

// The name that DOM fixes for nodes of a type; null for types whose nodes have names of their own.
const char *fixed_name(xmlElementType type) noexcept {
    switch (type) {
    case XML_TEXT_NODE:
        return "#text";
    case XML_CDATA_SECTION_NODE:
        return "#cdata-section";
    case XML_COMMENT_NODE:
        return "#comment";
    case XML_DOCUMENT_NODE:
        return "#document";
    case XML_DOCUMENT_FRAG_NODE:
        return "#document-fragment";
    default:
        return nullptr;
    }
}

} // namespace

text_piece node_text(const xmlNode *node, text_room &room) {
    switch (node->type) {
    case XML_ATTRIBUTE_NODE:
        return attribute_text(node, room);
    case XML_ATTRIBUTE_DECL:
        return whole_piece(declared_default(node));
    case XML_ENTITY_REF_NODE:
        return collected_text(node, room);
    default:
        return whole_piece(own_content(node));
    }
}

host::datum name_result(const xmlChar *prefix, const xmlChar *name) {
    if (prefix == nullptr) {
        return text_result(name, length_of(name));
    }
    text_room room;
    const xmlChar colon = ':';
    room.append(prefix, length_of(prefix));
    room.append(&colon, 1);
    room.append(name, length_of(name) + 1);
    return text_result(room.data(), room.size() - 1);
}

xmlNodePtr look_up_attribute(xmlNodePtr node, const xmlChar *name, const xmlChar *uri) {
    const host::tree_scope scope;
    xmlAttrPtr found = uri == nullptr ? xmlHasProp(node, name) : xmlHasNsProp(node, name, uri);
    // Without the memory it needs, libxml2 says that there is none.
    if (scope.refused()) {
        report(reports::out_of_memory);
    }
    return as_node(found);
}

host::datum attribute_result(host::call &call, xmlNodePtr node, const xmlChar *name,
                             const xmlChar *uri) {
    const xmlNode *attribute = look_up_attribute(node, name, uri);
    if (attribute == nullptr) {
        return call.null();
    }
    text_room room;
    const text_piece value = node_text(attribute, room);
    return value.bytes == nullptr ? call.null() : text_result(value.bytes, value.size);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_node_value) {
    if (call.is_null(0)) {
        return call.null();
    }
    const xmlNode *node = node_or_null(find_handle(call, 0));
    // An element or a document has no value; nor has a declaration, whatever it declares.
    if (node == nullptr || is_container(node) || is_declaration(node->type)) {
        return call.null();
    }
    text_room room;
    const text_piece value = node_text(node, room);
    return value.size == 0 ? call.null() : text_result(value.bytes, value.size);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_node_name) {
    if (call.is_null(0)) {
        return call.null();
    }
    const xmlNode *node = node_or_null(find_handle(call, 0));
    if (node == nullptr) {
        return call.null();
    }
    if (const char *name = fixed_name(node->type)) {
        return text_result(BAD_CAST name, std::strlen(name));
    }
    if (node->name == nullptr) {
        report(reports::out_of_memory);
    }
    const xmlNs *record = namespace_of(node);
    return name_result(record == nullptr ? nullptr : record->prefix, node->name);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_node_type) {
    if (call.is_null(0)) {
        return call.null();
    }
    const xmlNode *node = node_or_null(find_handle(call, 0));
    return node == nullptr ? call.null() : host::from_int4(static_cast<std::int32_t>(node->type));
}

PKG_DBE_XML_FUNCTION(xml_dom_get_attributes) {
    if (call.is_null(0)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    // The kind comes first: a handle of another kind is refused even when it names nothing.
    if (entry.kind != XMLDomNodeType::node) {
        report(reports::inconsistent_types);
    }
    if (entry.object == nullptr) {
        return call.null();
    }
    xmlNodePtr first = first_beside_children(as_node(entry.object));
    return mint_handle<XMLDomNodeType::named_node_map>(entry, first);
}

PKG_DBE_XML_FUNCTION(xml_dom_get_attribute_ns) {
    if (call.is_null(0) || call.is_null(1) || call.is_null(2)) {
        return call.null();
    }
    const XMLHashEntry &entry = find_handle(call, 0);
    if (entry.object == nullptr) {
        return call.null();
    }
    if (entry.kind != XMLDomNodeType::element) {
        report(reports::unsupported_kind);
    }
    const utf8_argument name(call.value(1));
    const utf8_argument uri(call.value(2));
    return attribute_result(call, as_node(entry.object), name.xml(), uri.xml());
}

} // namespace pkg_dbe_xml
