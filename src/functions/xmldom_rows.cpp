// Rows out of trees: one for each node of a row path, with columns that are read by paths of their
// own.

#include "functions/row_maker.hpp"
#include "parse/document_parsing.hpp"
#include "parse/parse_text.hpp"
#include "xml_owner.hpp"

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_rows{"xmldom.rows",
                                  {"node", "row_path", "columns", "namespaces", "on_error"}};
constexpr package_function k_rows_of_text{
    "xmldom.rows_of_text", {"document", "row_path", "columns", "namespaces", "on_error"}};

// As xmldom.parse reads a text; short texts may stand in their nodes, which nobody changes.
constexpr int k_options = XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_HUGE | XML_PARSE_COMPACT;

void add_rows(row_maker &rows, const path_lease &row_path, xmlNodePtr context) {
    path_evaluation run(row_path.code(), context, {});
    for (xmlNodePtr const node : run.nodes()) {
        rows.add(node);
    }
}

[[nodiscard]] xml_doc_ptr parse_argument(const host::call &call) {
    const parse_text text(call.value(row_maker::k_source), reports::text_too_large);
    return parse_document(text, k_options);
}

} // namespace

PKG_DBE_XML_FUNCTION(xmldom_rows) {
    row_maker rows(call, k_rows, row_source::shared);
    const path_lease row_path = rows.path_argument();
    if (const named_node node = rows.here().node(row_maker::k_source)) {
        add_rows(rows, row_path, node.node);
    }
    return rows.finish();
}

// The document is parsed for this call alone and freed with it.
PKG_DBE_XML_FUNCTION(xmldom_rows_of_text) {
    row_maker rows(call, k_rows_of_text, row_source::own);
    const path_lease row_path = rows.path_argument();
    if (call.is_null(row_maker::k_source)) {
        return rows.finish();
    }
    const xml_doc_ptr document = parse_argument(call);
    add_rows(rows, row_path, as_node(document.get()));
    return rows.finish();
}

} // namespace pkg_dbe_xml
