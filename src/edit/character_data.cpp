// Changes of what texts, CDATA sections, comments and processing instructions hold.

#include "edit/character_data.hpp"

#include "edit/place.hpp"
#include "edit/tree_texts.hpp"
#include "error_reports.hpp"
#include "host/error.hpp"
#include "libxml/xml.hpp"
#include "tree/id_attributes.hpp"
#include "tree/poll_counter.hpp"
#include "tree/typed_access.hpp"

#include <climits>
#include <cstring>

namespace pkg_dbe_xml {

namespace {

[[nodiscard]] std::size_t size_of(const xmlChar *text) noexcept {
    return std::strlen(reinterpret_cast<const char *>(text));
}

// Room for a text of this size and its end. Reports out_of_memory; libxml2 measures texts in int.
[[nodiscard]] xml_text_ptr text_room(std::size_t size) {
    const host::tree_scope scope;
    xml_text_ptr made(size >= INT_MAX ? nullptr : static_cast<xmlChar *>(xmlMalloc(size + 1)));
    if (made == nullptr) {
        report(reports::out_of_memory);
    }
    return made;
}

// The value of the attribute that a text stands in changes with it.
void note_change_of(xmlNodePtr text) noexcept {
    if (text->parent != nullptr && is_attribute(text->parent)) {
        auto *const attribute = reinterpret_cast<xmlAttrPtr>(text->parent);
        forget_parsed_id(attribute);
        note_attribute_change(attribute);
    }
}

} // namespace

bool is_text_or_section(const xmlNode *node) noexcept {
    return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
}

const xmlChar *data_of(const xmlNode *node) noexcept {
    const xmlChar *const data = own_content(node);
    return data == nullptr ? reinterpret_cast<const xmlChar *>("") : data;
}

xml_text_ptr copy_of_text(const text_bytes &text) {
    xml_text_ptr made = text_room(text.size);
    std::memcpy(made.get(), text.bytes, text.size);
    made.get()[text.size] = 0;
    return made;
}

xml_text_ptr copy_of_text(const xmlChar *text) { return copy_of_text({text, size_of(text)}); }

xml_node_ptr new_text(xmlDocPtr document, const text_bytes &text) {
    const host::tree_scope scope;
    // libxml2 measures texts in int.
    xml_node_ptr made(text.size >= INT_MAX
                          ? nullptr
                          : xmlNewDocTextLen(document, text.bytes, static_cast<int>(text.size)));
    if (made == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    return made;
}

xml_text_ptr spliced_data(const xmlNode *node, std::size_t offset, std::size_t removed,
                          const xmlChar *inserted) {
    const xmlChar *const old = data_of(node);
    const std::size_t behind = size_of(old + offset + removed);
    const std::size_t added = size_of(inserted);
    xml_text_ptr made = text_room(offset + added + behind);
    std::memcpy(made.get(), old, offset);
    std::memcpy(made.get() + offset, inserted, added);
    std::memcpy(made.get() + offset + added, old + offset + removed, behind + 1);
    return made;
}

void set_data(family &owner, xmlNodePtr node, xml_text_ptr data) {
    const host::tree_scope scope;
    retire_children(owner, node);
    note_change_of(node);
    replace_content(node, std::move(data));
}

void append_data(xmlNodePtr node, const xmlChar *added) {
    text_growth growth(node, added);
    note_change_of(node);
    growth.apply();
}

text_split::text_split(xmlNodePtr node, std::size_t offset) : node_(node) {
    const xmlChar *const data = data_of(node);
    kept_ = text_room(offset);
    std::memcpy(kept_.get(), data, offset);
    kept_.get()[offset] = 0;
    const host::tree_scope scope;
    made_.reset(
        node->type == XML_CDATA_SECTION_NODE
            ? xmlNewCDataBlock(node->doc, data + offset, static_cast<int>(size_of(data + offset)))
            : xmlNewDocText(node->doc, data + offset));
    if (made_ == nullptr || scope.refused()) {
        report(reports::out_of_memory);
    }
    made_->name = node->name;
}

void text_split::carry_out() noexcept {
    const host::tree_scope scope;
    xmlNodePtr const made = made_.release();
    replace_content(node_, std::move(kept_));
    if (node_->parent != nullptr) {
        link_before(node_->parent, made, node_->next);
    }
}

// --- joining texts ------------------------------------------------------------------------------

namespace {

// Texts that stand side by side, and what the first of them will hold.
struct text_run {
    xmlNodePtr first;
    xmlNodePtr behind; // the first node that is not one of them, or null
    xmlChar *joined;   // null: the first keeps what it holds
};

class joining {
  public:
    joining() noexcept {}
    ~joining() {
        for (const text_run &run : runs_) {
            xmlFree(run.joined);
        }
    }
    joining(const joining &) = delete;
    joining &operator=(const joining &) = delete;

    void plan_children(xmlNodePtr parent) {
        for (xmlNodePtr child = first_child(parent); child != nullptr;) {
            child = child->type == XML_TEXT_NODE ? plan_run(child) : child->next;
        }
    }
    void carry_out(family &owner) {
        const host::tree_scope scope;
        for (text_run &run : runs_) {
            join(owner, run);
        }
    }

  private:
    // Gives the node behind the run.
    [[nodiscard]] xmlNodePtr plan_run(xmlNodePtr first) {
        std::size_t size = 0;
        std::size_t count = 0;
        xmlNodePtr node = first;
        for (; node != nullptr && node->type == XML_TEXT_NODE; node = node->next) {
            size += size_of(data_of(node));
            ++count;
        }
        if (count == 1 && size != 0) {
            return node;
        }
        runs_.push_back({first, node, nullptr});
        if (size != 0) {
            runs_.back().joined = joined_text(first, node, size).release();
        }
        return node;
    }
    [[nodiscard]] static xml_text_ptr joined_text(const xmlNode *first, const xmlNode *behind,
                                                  std::size_t size) {
        xml_text_ptr made = text_room(size);
        xmlChar *place = made.get();
        for (const xmlNode *node = first; node != behind; node = node->next) {
            const std::size_t piece = size_of(data_of(node));
            std::memcpy(place, data_of(node), piece);
            place += piece;
        }
        *place = 0;
        return made;
    }
    static void join(family &owner, text_run &run) noexcept {
        xmlNodePtr node = run.first;
        if (run.joined != nullptr) {
            node = node->next;
            replace_content(run.first, xml_text_ptr(run.joined));
            run.joined = nullptr;
        }
        while (node != run.behind) {
            xmlNodePtr const next = node->next;
            retire(owner, node);
            node = next;
        }
    }
    growing_array<text_run, 8> runs_;
};

} // namespace

void normalize_texts(family &owner, xmlNodePtr top) {
    joining plan;
    poll_counter poll;
    for (xmlNodePtr node = top; node != nullptr; node = next_changeable(node, top)) {
        poll.step();
        if (is_declaration(node->type) || node->type == XML_TEXT_NODE) {
            continue;
        }
        plan.plan_children(node);
        for (xmlAttrPtr attribute = first_attribute(node); attribute != nullptr;
             attribute = attribute->next) {
            plan.plan_children(as_node(attribute));
        }
    }
    plan.carry_out(owner);
}

xmlNodePtr first_of_run(xmlNodePtr text) noexcept {
    while (text->prev != nullptr && is_text_or_section(text->prev)) {
        text = text->prev;
    }
    return text;
}

xmlNodePtr last_of_run(xmlNodePtr text) noexcept {
    while (text->next != nullptr && is_text_or_section(text->next)) {
        text = text->next;
    }
    return text;
}

void replace_run(family &owner, xmlNodePtr text, xml_text_ptr data, bool goes_too) {
    std::size_t count = 1;
    xmlNodePtr const first = first_of_run(text);
    xmlNodePtr const last = last_of_run(text);
    for (const xmlNode *node = first; node != last; node = node->next) {
        ++count;
    }
    set_data(owner, text, std::move(data));
    xmlNodePtr node = first;
    for (; count != 0; --count) {
        xmlNodePtr const next = node->next;
        if (node != text || goes_too) {
            retire(owner, node);
        }
        node = next;
    }
}

} // namespace pkg_dbe_xml
