// Nodes as text: the functions that write one to a buffer or a CLOB.

#include "functions/call_frame.hpp"
#include "text/large_values.hpp"
#include "tree/node_text.hpp"
#include "write/serialization.hpp"
#include "write/tree_writer.hpp"

namespace pkg_dbe_xml {

namespace {

enum class target { buffer, clob };

// The value of an attribute; null when it is empty. Always in one allocation.
[[nodiscard]] host::datum attribute_value_result(host::call &call, const xmlNode *attribute) {
    text_room room;
    const text_piece value = node_text(attribute, room);
    if (value.size == 0) {
        return call.null();
    }
    return text_result(value.bytes, value.size);
}

[[nodiscard]] host::datum tree_result(host::call &call, xmlNodePtr node, target to) {
    text_output output(to == target::buffer ? longest_value() : k_longest_dump);
    write_node(node, output);
    if (node_text_is_null(output.size())) {
        return call.null();
    }
    if (!node_text_is_long(output.size())) {
        return inline_result(output);
    }
    if (to == target::buffer) {
        report(reports::over_one_gigabyte);
    }
    // Deliberately not converted: a text of this length stays in UTF-8 whatever the database
    // encoding, and callers rely on it.
    return host::from_pointer(copy_flat_buffer_to_lob(output.size(), output.c_str()));
}

[[nodiscard]] host::datum write_node_handle(host::call &call, target to) {
    if (call.is_null(0)) {
        return call.null();
    }
    xmlNodePtr node = node_or_null(find_handle(call, 0));
    if (node == nullptr) {
        report(reports::node_gone);
    }
    switch (node->type) {
    case XML_ATTRIBUTE_NODE:
        return attribute_value_result(call, node);
    case XML_ELEMENT_NODE:
    case XML_TEXT_NODE:
    case XML_DOCUMENT_NODE:
        return tree_result(call, node, to);
    default:
        report(to == target::buffer ? reports::not_for_write_to_buffer
                                    : reports::not_for_write_to_clob);
    }
}

} // namespace

} // namespace pkg_dbe_xml

PKG_DBE_XML_FUNCTION(xml_dom_write_to_buffer_node) {
    return pkg_dbe_xml::write_node_handle(call, pkg_dbe_xml::target::buffer);
}

PKG_DBE_XML_FUNCTION(xml_dom_write_to_clob_node) {
    return pkg_dbe_xml::write_node_handle(call, pkg_dbe_xml::target::clob);
}
