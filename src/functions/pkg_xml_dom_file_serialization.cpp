// Writing documents and nodes into files of directory objects.
#include "files/node_files.hpp"
#include "functions/call_frame.hpp"
#include "libxml/xml.hpp"
#include "text/encoding_handler.hpp"

#include <optional>
#include <utility>

namespace pkg_dbe_xml {

namespace {

constexpr std::size_t k_longest_character_set = 60;

// Reports null_argument for the first of the two arguments that is null.
void require_arguments(const host::call &call) {
    if (call.is_null(0)) {
        report(reports::null_argument, {}, {"1"});
    }
    if (call.is_null(1)) {
        report(reports::null_argument, {}, {"2"});
    }
}

// The path of a file argument, DIR/NAME.xml.
[[nodiscard]] host_text path_argument(const host::call &call, int index) {
    text_argument argument(call.value(index));
    argument.to_utf8();
    return checked_path(argument.data());
}

[[nodiscard]] bool has_handler(const char *character_set) {
    const host::xml_scope scope;
    const encoding_handler_ptr handler(find_encoding_handler(character_set));
    if (scope.refused()) {
        report(reports::out_of_memory);
    }
    return handler != nullptr;
}

// The character set a document is to be written in, in UTF-8. Reports character_set_too_long and
// unsupported_character_set.
void check_character_set(text_argument &name) {
    const std::size_t size = name.size();
    name.to_utf8();
    if (size > k_longest_character_set) {
        report(reports::character_set_too_long);
    }
    if (!has_handler(name.c_str())) {
        report(reports::unsupported_character_set);
    }
}

// Writes markup in the character set where there is a third argument, which must not be null then.
void write_in_character_set(const host::call &call, file_ptr file, const char *path,
                            xmlNodePtr node) {
    std::optional<text_argument> name;
    if (call.argument_count > 2) {
        if (call.is_null(2)) {
            give_file_up(std::move(file), reports::numeric_or_value_error);
        }
        name.emplace(call.value(2));
        name->to_utf8();
    }
    save_markup(std::move(file), path, node, name ? name->c_str() : nullptr);
}

} // namespace

} // namespace pkg_dbe_xml

// Arguments: document, file (DIR/NAME.xml), optional character set; a null character set is none.
// Writes the document with its declaration, indented, in the character set, else in its declared
// one, else in UTF-8. Reports, in this order: null_argument, handle_not_found, node_gone,
// not_a_document, character_set_too_long, unsupported_character_set, the reports of the path
// functions, write_failed.
PKG_DBE_XML_FUNCTION(xml_dom_write_to_file_doc) {
    using namespace pkg_dbe_xml;
    host::StmtRetrySetQuerytUnsupportedFlag();
    require_arguments(call);
    xmlDocPtr document = require_document(find_handle(call, 0));
    const char *encoding = document->encoding == nullptr ? "UTF-8" : nullptr;
    std::optional<text_argument> character_set;
    if (!call.is_null(2)) {
        check_character_set(character_set.emplace(call.value(2)));
        encoding = character_set->c_str();
    }
    const host_text path = path_argument(call, 1);
    save_document(path.get(), document, encoding);
    return call.null();
}

PKG_DBE_XML_RETURNING(xml_dom_write_to_file_doc, call.same_as(0))

// Arguments: node, file (DIR/NAME.xml), optional character set, which must not be null. Writes an
// element or a text as markup, a document with its declaration, an attribute as its bare value.
// Reports, in this order: null_argument, handle_not_found for a value that is no handle, the
// reports of the path functions, handle_not_found, node_gone, inconsistent_types,
// file_not_opened, numeric_or_value_error, unsupported_character_set, not_for_write_to_file,
// write_failed. Of the three before the last an empty file is left where there was none.
PKG_DBE_XML_FUNCTION(xml_dom_write_to_file_node) {
    using namespace pkg_dbe_xml;
    host::StmtRetrySetQuerytUnsupportedFlag();
    require_arguments(call);
    static_cast<void>(check_raw_id_valid(call.value(0)));
    const host_text path = path_argument(call, 1);
    xmlNodePtr node = node_or_null(find_handle(call, 0));
    if (node == nullptr) {
        report(reports::node_gone);
    }
    file_ptr file = open_file(path.get());
    switch (node->type) {
    case XML_ATTRIBUTE_NODE:
        save_value(std::move(file), path.get(), node);
        break;
    case XML_ELEMENT_NODE:
    case XML_TEXT_NODE:
    case XML_DOCUMENT_NODE:
        write_in_character_set(call, std::move(file), path.get(), node);
        break;
    default:
        give_file_up(std::move(file), reports::not_for_write_to_file);
    }
    return call.null();
}

PKG_DBE_XML_RETURNING(xml_dom_write_to_file_node, call.same_as(0))
