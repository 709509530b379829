// What a failed call of the long-named functions was about: a line of CONTEXT that says which
// argument it was, what it named and what was wanted. Made only after a failure, from the arguments
// and the row of the report: calls that succeed pay nothing for it.

#include "functions/package_arguments.hpp"

#include <array>
#include <cstdio>
#include <cstring>

namespace pkg_dbe_xml {

namespace {

// Functions that take a handle in their second argument too.
constexpr const char *k_with_two_handles[] = {"xml_dom_append_child", "xml_dom_import_node",
                                              "xml_dom_set_attribute_node",
                                              "xml_dom_remove_attribute_node"};

// What a report says is wanted, by report and function; null as the function means any.
struct wanted_words {
    const report_row *row;
    const char *function;
    const char *words;
};
constexpr const char *k_writable = "an element, an attribute, a text or a document";
constexpr wanted_words k_wanted[] = {
    {&reports::not_a_document, nullptr, "a document"},
    {&reports::unsupported_kind, nullptr, "a handle of kind element"},
    {&reports::cannot_convert, "xml_dom_make_attr", "an attribute"},
    {&reports::cannot_convert, nullptr, "an element"},
    {&reports::kind_mismatch, "xml_dom_makenode",
     "a handle of kind document, element, attribute or text"},
    {&reports::kind_mismatch, nullptr, "an element, an attribute or a node"},
    {&reports::inconsistent_types, "xml_dom_get_length", "a list or a map"},
    {&reports::inconsistent_types, "xml_dom_item", "a list or a map"},
    {&reports::inconsistent_types, "xml_dom_get_named_item", "a map"},
    {&reports::inconsistent_types, "xml_dom_get_named_item_ns", "a map"},
    {&reports::inconsistent_types, "xml_dom_free_nodelist", "a list"},
    {&reports::inconsistent_types, "xml_dom_get_attributes", "a handle of kind node"},
    {&reports::inconsistent_types, nullptr, "a node"},
    {&reports::not_for_get_attribute_node, nullptr, "an element"},
    {&reports::not_for_write_to_buffer, nullptr, k_writable},
    {&reports::not_for_write_to_clob, nullptr, k_writable},
    {&reports::not_for_write_to_file, nullptr, k_writable},
};

// Reports about handles for which nothing else is wanted than one that names something.
constexpr const report_row *k_about_handles[] = {
    &reports::null_handle,        &reports::handle_not_found, &reports::node_gone,
    &reports::null_child,         &reports::not_allowed,      &reports::other_document,
    &reports::import_unsupported, &reports::no_modification,  &reports::invalid_node_handle,
};

[[nodiscard]] bool is_about_handles(const report_row *row) noexcept {
    for (const report_row *const each : k_about_handles) {
        if (each == row) {
            return true;
        }
    }
    return false;
}

[[nodiscard]] const char *find_wanted(const report_row *row, const char *function) noexcept {
    for (const wanted_words &each : k_wanted) {
        if (each.row == row &&
            (each.function == nullptr || std::strcmp(each.function, function) == 0)) {
            return each.words;
        }
    }
    return nullptr;
}

[[nodiscard]] const char *kind_name(XMLDomNodeType kind) noexcept {
    switch (kind) {
    case XMLDomNodeType::attribute:
        return "attribute";
    case XMLDomNodeType::document:
        return "document";
    case XMLDomNodeType::element:
        return "element";
    case XMLDomNodeType::named_node_map:
        return "map";
    case XMLDomNodeType::node_list:
        return "list";
    case XMLDomNodeType::text:
        return "text";
    default:
        return "node";
    }
}

// What is known of a handle argument.
struct handle_state {
    bool is_null;
    const XMLHashEntry *entry; // null for one that is not known
    [[nodiscard]] bool names_something() const noexcept {
        return entry != nullptr && entry->object != nullptr;
    }
};

[[nodiscard]] handle_state state_of(const host::call &frame, int index) noexcept {
    if (frame.is_null(index)) {
        return {true, nullptr};
    }
    const DomKey *const key = handle_in_place(frame.value(index));
    return {false, key == nullptr ? nullptr : xml_find_hashentry(*key)};
}

// Of two handles the one that the report is about: the first that is not as a handle of a node
// should be, else the second, which is what the first is to take.
[[nodiscard]] int index_at_fault(const host::call &frame, const char *function) noexcept {
    bool has_two = false;
    for (const char *const each : k_with_two_handles) {
        has_two = has_two || std::strcmp(each, function) == 0;
    }
    if (!has_two) {
        return 0;
    }
    const handle_state first = state_of(frame, 0);
    const bool first_is_fine =
        !first.is_null && first.names_something() && !is_collection(*first.entry);
    return first_is_fine ? 1 : 0;
}

// The name without the ending of those that give their argument instead.
struct plain_name {
    std::array<char, 64> bytes{};
    explicit plain_name(const char *name) noexcept {
        constexpr std::string_view k_ending = "_returning";
        std::string_view view(name);
        if (view.ends_with(k_ending)) {
            view.remove_suffix(k_ending.size());
        }
        view.copy(bytes.data(), bytes.size() - 1);
    }
};

void add_context(const char *function, const host::call &frame, const char *wanted) noexcept {
    const int index = index_at_fault(frame, function);
    const handle_state state = state_of(frame, index);
    const char *text = " is no handle of this session";
    const char *kind = "";
    const bool names_node = state.names_something() && !is_collection(*state.entry);
    const node_words words(names_node ? as_node(state.entry->object) : nullptr);
    if (state.is_null) {
        text = " is null";
    } else if (state.entry != nullptr) {
        text = " is a handle of kind ";
        kind = kind_name(state.entry->kind);
    }
    std::array<char, 512> line;
    std::snprintf(line.data(), line.size(), "argument %d of %s%s%s%s%.*s%s%s%s", index + 1,
                  function, text, kind,
                  names_node                ? " and names "
                  : state.entry == nullptr  ? ""
                  : state.names_something() ? ""
                                            : " and names nothing any more",
                  names_node ? static_cast<int>(words.view().size()) : 0, words.view().data(),
                  wanted == nullptr ? "" : "; ", wanted == nullptr ? "" : wanted,
                  wanted == nullptr ? "" : " is wanted");
    host::err_context(line.data());
}

} // namespace

} // namespace pkg_dbe_xml

void host::add_failure_context(const char *name, const call &frame) noexcept {
    namespace dbe = pkg_dbe_xml;
    const dbe::report_row *const row = dbe::take_last_row();
    if (row == nullptr || name == nullptr || frame.argument_count == 0) {
        return;
    }
    const dbe::plain_name function(name);
    const char *const wanted = dbe::find_wanted(row, function.bytes.data());
    if (wanted != nullptr || dbe::is_about_handles(row)) {
        dbe::add_context(function.bytes.data(), frame, wanted);
    }
}
