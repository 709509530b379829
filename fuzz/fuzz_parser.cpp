// Fuzzer of documents: any bytes are parsed as a document and by a parser object; what was parsed
// is read, written, parsed again and written again, which gives the same text.
#include "standalone_session.hpp"
#include "support/invariants.hpp"
#include "support/sql.hpp"

#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace {

[[noreturn]] void fail(const std::string &reason) {
    std::fprintf(stderr, "%s\n", reason.c_str());
    std::abort();
}

// What is written of a document and parsed once more is the same document, unless its text nodes
// were only blanks, which parsing drops.
void check_round_trip(const sql::handle &document) {
    const sql::result written = sql::call(xml_dom_write_to_clob_doc, document);
    if (written.failed()) {
        return;
    }
    const sql::result again = sql::call(xml_dom_new_document_clob, written.text());
    if (again.failed() || again.is_null()) {
        return; // an encoding or entity that the written text cannot carry
    }
    const sql::result second = sql::call(xml_dom_write_to_clob_doc, again.handle());
    const sql::result third_document =
        second.failed() ? second : sql::call(xml_dom_new_document_clob, second.text());
    if (second.failed() || third_document.failed() || third_document.is_null()) {
        fail("what was written does not parse again");
    }
    const sql::result third = sql::call(xml_dom_write_to_clob_doc, third_document.handle());
    if (third.failed() || third.text() != second.text()) {
        fail("writing, parsing and writing again changes the document");
    }
}

void read_all(const sql::handle &document) {
    const sql::result list = sql::call(xml_dom_get_elements_by_tagname_document, document, "*");
    if (list.failed() || list.is_null()) {
        return;
    }
    const int length = sql::call(xml_dom_get_length, list.handle()).integer();
    for (int index = 0; index < length && index < 50; ++index) {
        const sql::handle node = sql::call(xml_dom_item, list.handle(), index).handle();
        sql::call(xml_dom_get_node_name, node);
        const sql::result map = sql::call(xml_dom_get_attributes, node);
        if (!map.failed() && !map.is_null()) {
            sql::call(xml_dom_item, map.handle(), 0);
        }
        sql::call(xml_dom_get_child_nodes, node);
        sql::call(xml_dom_get_detail_doc_tree_info, node);
    }
    sql::call(xml_dom_get_doc_trees_info);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::string text;
    for (std::size_t index = 0; index < size; ++index) {
        if (data[index] != 0) { // a text has no zero bytes
            text += static_cast<char>(data[index]);
        }
    }
    {
        const sql::node_watch watch;
        host::standalone::begin_session("UTF8");
        const sql::result document = sql::call(xml_dom_new_document_clob, text);
        if (!document.failed()) {
            read_all(document.handle());
            check_round_trip(document.handle());
        }
        const sql::handle parser = sql::call(xmlparser_new_parser).handle();
        sql::call(xmlparser_parse_clob, parser, text);
        const sql::result handed = sql::call(xmlparser_get_doc, parser);
        if (!handed.failed() && !handed.is_null()) {
            read_all(handed.handle());
        }
        const std::string wrong = sql::broken_invariants();
        if (!wrong.empty()) {
            fail(wrong);
        }
        if (!host::standalone::end_session().nothing()) {
            fail("the session left something");
        }
    }
    return 0;
}
