// A picture of a tree for people. See outline.hpp.
//
// The walk goes by the links of the tree.

#include "tree/outline.hpp"

#include "tree/node_text.hpp"
#include "tree/poll_counter.hpp"
#include "tree/text_compare.hpp"
#include "tree/typed_access.hpp"

#include <algorithm>
#include <string_view>

namespace pkg_dbe_xml {

namespace {

// Characters of a text that are shown.
constexpr std::size_t k_shown_characters = 60;
// Deeper lines are not indented further, so that the picture stays linear in the tree.
constexpr std::size_t k_deepest_indentation = 100;

// The only child of an element, when that is a text.
const xmlNode *only_text(const xmlNode *node) noexcept {
    const xmlNode *child = node->type == XML_ELEMENT_NODE ? node->children : nullptr;
    return child != nullptr && child->type == XML_TEXT_NODE && child->next == nullptr ? child
                                                                                      : nullptr;
}

class outline_writer {
  public:
    explicit outline_writer(text_output &output) noexcept : output_(output) {}

    void tree(const xmlNode *top) {
        const xmlNode *node = top;
        std::size_t depth = 0;
        while (node != nullptr) {
            line(node, depth);
            if (const xmlNode *child = shown_child(node)) {
                node = child;
                ++depth;
                continue;
            }
            while (node != top && node->next == nullptr) {
                node = node->parent;
                --depth;
            }
            node = node == top ? nullptr : node->next;
        }
    }

  private:
    static const xmlNode *shown_child(const xmlNode *node) noexcept {
        return is_container(node) && only_text(node) == nullptr ? node->children : nullptr;
    }

    void line(const xmlNode *node, std::size_t depth) {
        poll_.step();
        if (output_.size() != 0) {
            output_.append("\n");
        }
        for (std::size_t i = std::min(depth, k_deepest_indentation); i > 0; --i) {
            output_.append("  ");
        }
        switch (node->type) {
        case XML_ELEMENT_NODE:
            element(node);
            break;
        case XML_ATTRIBUTE_NODE:
            attribute(node);
            break;
        case XML_TEXT_NODE:
            shortened("\"", view_of(own_content(node)), "\"");
            break;
        case XML_CDATA_SECTION_NODE:
            shortened("<![CDATA[", view_of(own_content(node)), "]]>");
            break;
        case XML_COMMENT_NODE:
            shortened("<!--", view_of(own_content(node)), "-->");
            break;
        case XML_PI_NODE:
            output_.append("<?");
            output_.append(view_of(node->name));
            shortened(own_content(node) == nullptr ? "" : " ", view_of(own_content(node)), "?>");
            break;
        default:
            other(node);
        }
    }

    void other(const xmlNode *node) {
        switch (node->type) {
        case XML_DOCUMENT_NODE:
            output_.append("#document");
            break;
        case XML_ENTITY_REF_NODE:
            shortened("&", view_of(node->name), ";");
            break;
        case XML_DTD_NODE:
            shortened("<!DOCTYPE ", view_of(node->name), ">");
            break;
        default:
            shortened("<!", view_of(node->name), ">");
        }
    }

    void element(const xmlNode *node) {
        name(node);
        for (const xmlNs *record = declared_namespaces(node); record != nullptr;
             record = record->next) {
            poll_.step();
            output_.append(record->prefix == nullptr ? " xmlns" : " xmlns:");
            output_.append(view_of(record->prefix));
            shortened("=\"", view_of(record->href), "\"");
        }
        for (const xmlAttr *member = first_attribute(node); member != nullptr;
             member = member->next) {
            poll_.step();
            output_.append(" ");
            attribute(reinterpret_cast<const xmlNode *>(member));
        }
        if (const xmlNode *text = only_text(node)) {
            shortened(" \"", view_of(own_content(text)), "\"");
        }
    }

    void attribute(const xmlNode *node) {
        name(node);
        text_room room;
        const text_piece value = node_text(node, room);
        shortened("=\"", {reinterpret_cast<const char *>(value.bytes), value.size}, "\"");
    }

    void name(const xmlNode *node) {
        const xmlNs *record = namespace_of(node);
        if (record != nullptr && record->prefix != nullptr && record->prefix[0] != '\0') {
            output_.append(view_of(record->prefix));
            output_.append(":");
        }
        output_.append(view_of(node->name));
    }

    void shortened(std::string_view before, std::string_view text, std::string_view after) {
        output_.append(before);
        std::size_t characters = 0;
        for (std::size_t i = 0; i < text.size(); ++i) {
            const char byte = text[i];
            const bool begins_character = (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
            if (begins_character && ++characters > k_shown_characters) {
                output_.append("...");
                break;
            }
            one_byte(byte);
        }
        output_.append(after);
    }

    void one_byte(char byte) {
        switch (byte) {
        case '\n':
            output_.append("\\n");
            break;
        case '\r':
            output_.append("\\r");
            break;
        case '\t':
            output_.append("\\t");
            break;
        default:
            output_.append({&byte, 1});
        }
    }

    text_output &output_;
    poll_counter poll_;
};

} // namespace

void append_outline(const xmlNode *top, text_output &output) { outline_writer(output).tree(top); }

} // namespace pkg_dbe_xml
