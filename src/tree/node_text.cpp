// The text of a node.
#include "tree/node_text.hpp"

#include "error_reports.hpp"
#include "libxml/xml.hpp"
#include "text/text_argument.hpp"
#include "tree/poll_counter.hpp"
#include "tree/text_compare.hpp"

namespace pkg_dbe_xml {

namespace {

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
        poll_.step();
    }

    text_room &room_;
    growing_array<unfolding, 8> unfoldings_;
    const xmlNode *node_ = nullptr;
    std::size_t depth_ = 0; // elements between node_ and what is being read
    bool into_elements_ = false;
    std::size_t unfolded_ = 0;
    poll_counter poll_;
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

} // namespace pkg_dbe_xml
