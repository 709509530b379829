// Documents from and to large objects, which hold texts in the encoding of the database.
//
// A tree is written piece by piece: at no time more than a piece of its text is in memory.

#include "functions/call_frame.hpp"
#include "host/large_object.hpp"
#include "parse/document_parsing.hpp"
#include "parse/parse_text.hpp"
#include "text/large_values.hpp"
#include "tree/node_text.hpp"
#include "write/object_writer.hpp"
#include "write/serialization.hpp"
#include "write/tree_writer.hpp"

namespace pkg_dbe_xml {

namespace {

// The large object that argument 1 names, a new one for 0 or when the call has no such argument.
// Reports null_not_allowed.
[[nodiscard]] host::object_number target_object(const host::call &call) {
    if (call.argument_count < 2) {
        return host::create_large_object();
    }
    if (call.is_null(1)) {
        report(reports::null_not_allowed, {}, {"2"});
    }
    const host::object_number number = call.uint4(1);
    return number == host::k_no_object ? host::create_large_object() : number;
}

// Writes what `write_text` writes to a text_output into the object of argument 1; the object.
template <class WriteText>
[[nodiscard]] host::datum write_to_object(const host::call &call, WriteText write_text) {
    const host::object_number number = target_object(call);
    object_writer writer(number);
    const text_sink sink = writer.sink();
    text_output output(sink);
    write_text(output);
    output.flush();
    writer.finish();
    return host::from_uint4(number);
}

void write_attribute_value(const xmlNode *attribute, text_output &output) {
    text_room room;
    const text_piece value = node_text(attribute, room);
    output.append({reinterpret_cast<const char *>(value.bytes), value.size});
}

// A tree whose text is too long for libxml2, where that writes it, gives none.
void write_tree_text(xmlNodePtr node, text_output &output) {
    write_node(node, output);
    if (output.size() == 0 && node->type != XML_TEXT_NODE) {
        report(reports::over_two_gigabytes);
    }
}

} // namespace

} // namespace pkg_dbe_xml

// Argument: number of a large object. Reports null_column, text_too_large and invalid_document.
PKG_DBE_XML_FUNCTION(xml_dom_new_document_large_object) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    if (call.is_null(0)) {
        pkg_dbe_xml::report(pkg_dbe_xml::reports::null_column);
    }
    return pkg_dbe_xml::create_dom_document_of_object(call.uint4(0));
}

// Arguments: document, large object. Null for a null document. Reports what
// xml_dom_write_to_clob_doc does, and null_not_allowed for a null large object.
PKG_DBE_XML_FUNCTION(xml_dom_write_to_large_object_doc) {
    host::StmtRetrySetQuerytUnsupportedFlag();
    if (call.is_null(0)) {
        return call.null();
    }
    using namespace pkg_dbe_xml;
    xmlDocPtr document = require_document(find_handle(call, 0));
    return write_to_object(call,
                           [document](text_output &output) { write_document(document, output); });
}

// The same for a node. An empty text makes the large object empty.
PKG_DBE_XML_FUNCTION(xml_dom_write_to_large_object_node) {
    if (call.is_null(0)) {
        return call.null();
    }
    using namespace pkg_dbe_xml;
    xmlNodePtr node = node_or_null(find_handle(call, 0));
    if (node == nullptr) {
        report(reports::node_gone);
    }
    switch (node->type) {
    case XML_ATTRIBUTE_NODE:
        return write_to_object(
            call, [node](text_output &output) { write_attribute_value(node, output); });
    case XML_ELEMENT_NODE:
    case XML_TEXT_NODE:
    case XML_DOCUMENT_NODE:
        return write_to_object(call,
                               [node](text_output &output) { write_tree_text(node, output); });
    default:
        report(reports::not_for_write_to_clob);
    }
}
