// XML Schema, piece by piece: libxml2 is told of elements and texts as if it were parsing.
//
// So it never sees the tree, which is not for it to write into, and between two pieces the work can
// be stopped. The text of an element is told at its end, as a whole: libxml2 would otherwise append
// each piece to a text that it measures anew.
#include "attribute_values.hpp"
#include "services.hpp"
#include "tree_walk.hpp"
#include "validating.hpp"
#include "validation_reports.hpp"

#include <algorithm>
#include <climits>
#include <cstring>
#include <exception>
#include <string>
#include <unordered_set>
#include <vector>

namespace pkg_dbe_xml::validation {

namespace {

// Pieces between two looks at whether the work is to stop.
constexpr unsigned k_pieces_between_looks = 256;

std::string_view view_of(const xmlChar *text) noexcept {
    return text == nullptr ? std::string_view{} : reinterpret_cast<const char *>(text);
}
const xmlChar *bytes_of(const char *text) noexcept {
    return reinterpret_cast<const xmlChar *>(text);
}

const xmlChar *uri_of(const xmlNs *record) noexcept {
    return record == nullptr || record->href == nullptr || *record->href == 0 ? nullptr
                                                                              : record->href;
}

bool is_blank(char byte) noexcept {
    return byte == ' ' || byte == '\n' || byte == '\t' || byte == '\r';
}

bool is_text(const xmlNode *node) noexcept {
    return node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
}

// The whole value of an attribute where it can be handed out as it lies in the tree.
bool lies_ready(const xmlAttr *attribute, std::string_view &value) noexcept {
    const xmlNode *const text = attribute->children;
    if (text == nullptr) {
        value = std::string_view("");
        return true;
    }
    if (text->next != nullptr || text->type != XML_TEXT_NODE || text->content == nullptr) {
        return false;
    }
    value = view_of(text->content);
    return value.size() <= k_longest_told_value && value.find('&') == std::string_view::npos;
}

// Values as libxml2's parser hands them out: it writes an ampersand as a reference. Returns a
// reference to an entity that is found in the value, else null.
const xmlNode *append_value(const xmlAttr *attribute, std::string &values) {
    for (const xmlNode *piece = attribute->children; piece != nullptr; piece = piece->next) {
        if (piece->type == XML_ENTITY_REF_NODE) {
            return piece;
        }
        for (std::string_view text = view_of(piece->content); !text.empty();) {
            const std::size_t place = text.find('&');
            values.append(text.substr(0, place));
            if (place == std::string_view::npos) {
                break;
            }
            values.append("&#38;");
            text.remove_prefix(place + 1);
        }
    }
    return nullptr;
}

// How many blanks a text begins with.
std::size_t blanks_before(const xmlChar *text) noexcept {
    std::size_t count = 0;
    while (text != nullptr && is_blank(static_cast<char>(text[count]))) {
        ++count;
    }
    return count;
}

std::string_view without_blanks(std::string_view text) noexcept {
    while (!text.empty() && is_blank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && is_blank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

class walk {
  public:
    walk(const xmlNode *root, const compiled_schema &schema, complaint_list &complaints) noexcept
        : root_(root), schema_(schema), complaints_(complaints) {}

    // Runs the whole; no exception leaves it.
    void run() noexcept {
        xmlSchemaValidCtxtPtr const context = xmlSchemaNewValidCtxt(schema_.xsd.get());
        if (context == nullptr) {
            return;
        }
        xmlSchemaSetValidStructuredErrors(context, note_complaint, &complaints_);
        xmlSchemaSAXPlugPtr const plug = xmlSchemaSAXPlug(context, &handler_, &handler_data_);
        if (plug != nullptr) {
            try {
                go_through();
            } catch (...) {
                failure_ = std::current_exception();
            }
            xmlSchemaSAXUnplug(plug);
        }
        xmlSchemaFreeValidCtxt(context);
    }

    unrefused_work work;
    bool finished = false;             // else it was stopped, or libxml2 failed
    bool same_twice = false;           // identifiers may be the same
    const xmlNode *entity = nullptr;   // a reference that was found
    const xmlAttr *too_long = nullptr; // an attribute of that kind
    [[nodiscard]] std::exception_ptr failure() const noexcept { return failure_; }

  private:
    void go_through() {
        const xmlNode *node = root_;
        while (node != nullptr) {
            if (!look()) {
                return;
            }
            if (node->type == XML_ELEMENT_NODE) {
                begin(node);
                if (entity != nullptr || too_long != nullptr) {
                    return;
                }
                if (node->children != nullptr) {
                    node = node->children;
                    continue;
                }
                end(node);
            } else if (is_text(node)) {
                take_text(node);
            } else if (node->type == XML_ENTITY_REF_NODE) {
                entity = node;
                return;
            }
            node = leave(node);
        }
        finished = true;
    }

    // The node behind this one; ends the elements that it stood last in.
    const xmlNode *leave(const xmlNode *node) {
        while (node != root_ && node->next == nullptr) {
            node = node->parent;
            end(node);
        }
        return node == root_ ? nullptr : node->next;
    }

    // False when the work is to stop.
    bool look() noexcept {
        if (complaints_.is_full() || complaints_.internal) {
            return false;
        }
        if (++pieces_ % k_pieces_between_looks != 0 && bytes_ < k_much_text) {
            return true;
        }
        const std::size_t bytes = bytes_;
        bytes_ = 0;
        return services().may_go_on(work, bytes);
    }

    void begin(const xmlNode *element) {
        complaints_.current = element;
        ++depth_;
        namespaces_.clear();
        if (element == root_) {
            collect_scope();
        } else if (element->nsDef != nullptr) {
            collect_namespaces(element);
        }
        attributes_.clear();
        if (element->properties != nullptr) {
            collect_attributes(element);
        }
        const xmlChar *const uri = uri_of(element->ns);
        handler_->startElementNs(handler_data_, element->name, nullptr, uri,
                                 static_cast<int>(namespaces_.size() / 2), namespaces_.data(),
                                 static_cast<int>(attributes_.size() / 5), 0, attributes_.data());
        bytes_ += k_bytes_of_element;
    }

    void end(const xmlNode *element) {
        complaints_.current = element;
        if (!texts_.empty() && texts_.back().depth == depth_) {
            tell_text();
        }
        --depth_;
        const xmlChar *const uri = uri_of(element->ns);
        handler_->endElementNs(handler_data_, element->name, nullptr, uri);
    }

    // What was put together for the element that ends.
    void tell_text() {
        const std::size_t start = texts_.back().start;
        handler_->characters(
            handler_data_, bytes_of(text_.data() + start),
            static_cast<int>(std::min<std::size_t>(text_.size() - start, INT_MAX)));
        text_.resize(start);
        texts_.pop_back();
    }

    void put_aside(std::string_view text) {
        if (texts_.empty() || texts_.back().depth != depth_) {
            texts_.push_back({depth_, text_.size()});
        }
        text_.append(text);
    }

    // Blanks between elements are no content whatever the type; the only text of an element is
    // told as it is; the rest is put together.
    void take_text(const xmlNode *node) {
        if (stands_beside_element(node)) {
            const std::size_t blanks = blanks_before(node->content);
            bytes_ += blanks;
            if (node->content == nullptr || node->content[blanks] == 0) {
                return;
            }
        }
        const std::string_view text = view_of(node->content);
        bytes_ += text.size();
        if (node->prev == nullptr && node->next == nullptr && node != root_ &&
            text.size() <= INT_MAX) {
            complaints_.current = node->parent;
            handler_->characters(handler_data_, node->content, static_cast<int>(text.size()));
        } else {
            put_aside(text);
        }
    }

    static bool stands_beside_element(const xmlNode *node) noexcept {
        return (node->prev != nullptr && node->prev->type == XML_ELEMENT_NODE) ||
               (node->next != nullptr && node->next->type == XML_ELEMENT_NODE);
    }

    void declare(const xmlNs &record) {
        namespaces_.push_back(record.prefix);
        namespaces_.push_back(record.href == nullptr ? bytes_of("") : record.href);
    }

    void collect_namespaces(const xmlNode *element) {
        for (const xmlNs *record = element->nsDef; record != nullptr; record = record->next) {
            declare(*record);
        }
    }

    // Prefixes of names that stand in values may be declared above the tree.
    void collect_scope() {
        std::unordered_set<std::string_view> known;
        for (const xmlNode *each = root_; each != nullptr && each->type == XML_ELEMENT_NODE;
             each = each->parent) {
            for (const xmlNs *record = each->nsDef; record != nullptr; record = record->next) {
                if (known.insert(view_of(record->prefix)).second) {
                    declare(*record);
                }
            }
        }
    }

    void collect_attributes(const xmlNode *element) {
        places_.clear();
        values_.clear();
        for (const xmlAttr *one = element->properties; one != nullptr; one = one->next) {
            std::string_view value;
            if (!lies_ready(one, value)) {
                value = put_value_together(one);
            }
            if (has_identifiers_ && !same_twice &&
                schema_.identifiers.contains(view_of(one->name))) {
                note_identifier(without_blanks(value));
            }
            const xmlChar *const fields[] = {one->name, nullptr, uri_of(one->ns),
                                             bytes_of(value.data()),
                                             bytes_of(value.data() + value.size())};
            attributes_.insert(attributes_.end(), std::begin(fields), std::end(fields));
            bytes_ += value.size();
        }
        for (const value_place &each : places_) {
            attributes_[each.index + 3] = bytes_of(values_.data() + each.start);
            attributes_[each.index + 4] = bytes_of(values_.data() + each.end);
        }
    }

    // The value stays where it is only until the next one is put together.
    std::string_view put_value_together(const xmlAttr *attribute) {
        if (length_of(*attribute, true).told() > k_longest_told_value) {
            too_long = attribute;
            return "";
        }
        const std::size_t start = values_.size();
        if (const xmlNode *const found = append_value(attribute, values_)) {
            entity = found;
        }
        places_.push_back({attributes_.size(), start, values_.size()});
        return std::string_view(values_).substr(start);
    }

    void note_identifier(std::string_view value) {
        same_twice = !identifiers_.emplace(value).second;
    }

    static constexpr std::size_t k_bytes_of_element = 16;
    static constexpr std::size_t k_much_text = std::size_t{1} << 20U;
    const xmlNode *root_;
    const compiled_schema &schema_;
    const bool has_identifiers_ = !schema_.identifiers.empty();
    complaint_list &complaints_;
    xmlSAXHandlerPtr handler_ = nullptr;
    void *handler_data_ = nullptr;
    unsigned pieces_ = 0;
    std::size_t bytes_ = 0; // told since the last look
    std::vector<const xmlChar *> namespaces_;
    std::vector<const xmlChar *> attributes_;
    // Values of attributes that had to be put together, one behind the other, and the fields that
    // are to point to them.
    struct value_place {
        std::size_t index;
        std::size_t start;
        std::size_t end;
    };
    std::vector<value_place> places_;
    std::string values_;
    // Texts of those open elements that have such, one behind the other.
    struct open_text {
        std::size_t depth;
        std::size_t start;
    };
    std::size_t depth_ = 0;
    std::vector<open_text> texts_;
    std::string text_;
    std::unordered_set<std::string> identifiers_;
    std::exception_ptr failure_;
};

void walk_step(void *state) noexcept { static_cast<walk *>(state)->run(); }

} // namespace

bool validate_by_pieces(const xmlNode *root, const compiled_schema &schema,
                        complaint_list &complaints) {
    for (bool polls = true;;) {
        complaints.clear();
        walk task(root, schema, complaints);
        task.work.polls = polls;
        task.work.budget = services().budget_for(0);
        services().run_unrefused(task.work, walk_step, &task);
        if (task.failure() != nullptr) {
            std::rethrow_exception(task.failure());
        }
        if (task.entity != nullptr) {
            services().report(reports::entity_in_tree, {view_of(task.entity->name)}, {});
        }
        if (task.too_long != nullptr) {
            services().report(reports::value_too_long_to_validate, {view_of(task.too_long->name)},
                              {});
        }
        if (task.finished || complaints.is_full() || complaints.internal) {
            return task.same_twice;
        }
        if (!task.work.was_stopped()) {
            services().report(reports::validation_failed, {"it could not begin"}, {});
        }
        services().end_stopped(task.work, reports::validation_over_budget);
        polls = false;
    }
}

} // namespace pkg_dbe_xml::validation
