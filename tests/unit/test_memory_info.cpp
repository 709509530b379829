// What the administrator sees of the memory behind documents.
#include "support/invariants.hpp"
#include "support/sql.hpp"

#include "libxml/xml.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "trees.hpp"

#include <libxml/HTMLtree.h>

#include <cstdint>
#include <sstream>

// The particles of a content model are not for everyone in later versions.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

struct memory_line {
    std::string handle;
    std::int64_t nodes = 0, bytes = 0;
};

std::string hexadecimal(const sql::handle &handle) {
    std::string digits;
    for (const std::uint8_t byte : handle.bytes) {
        constexpr char k_digits[] = "0123456789ABCDEF";
        digits += k_digits[byte / 16];
        digits += k_digits[byte % 16];
    }
    return digits;
}

class memory_info : public sql::session_test {
  protected:
    // All lines; the last is the one for the whole session.
    static std::vector<memory_line> lines() {
        std::istringstream text(sql::call(xml_dom_get_memory_info).text());
        std::vector<memory_line> found;
        memory_line line;
        while (text >> line.handle >> line.nodes >> line.bytes) {
            found.push_back(line);
        }
        EXPECT_FALSE(found.empty());
        EXPECT_EQ(found.back().handle, "all");
        return found;
    }
    static memory_line line_of(const std::vector<memory_line> &found, const sql::handle &handle) {
        for (const memory_line &line : found) {
            if (line.handle == hexadecimal(handle)) {
                return line;
            }
        }
        ADD_FAILURE() << "no line for " << hexadecimal(handle);
        return {};
    }
    static sql::handle parsed(const std::string &text) {
        return sql::call(xml_dom_new_document_clob, text).handle();
    }
};

TEST_F(memory_info, a_session_without_documents_has_one_line) {
    EXPECT_EQ(sql::call(xml_dom_get_memory_info).text(), "all 0 0");
}

TEST_F(memory_info, a_line_for_each_document_handle) {
    const sql::handle small = parsed("<a/>");
    const sql::handle large = parsed("<a><b c='d'>text</b><b/></a>");
    const std::vector<memory_line> found = lines();
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(line_of(found, small).nodes, 2); // the document and its root
    EXPECT_EQ(line_of(found, large).nodes, 7); // document, two elements below one, attribute, texts
    EXPECT_EQ(found[2].nodes, 9);
    EXPECT_EQ(found[2].bytes, host::gate.bytes_in_use + host::gate.handle_bytes);
    sql::call(xml_dom_free_document, small);
    EXPECT_EQ(lines().size(), 2U);
    sql::call(xml_dom_free_document, large);
    EXPECT_EQ(lines().size(), 1U);
    EXPECT_EQ(lines().back().bytes, 0);
}

// What is told of a document is within a tenth of what the heap gave for it.
TEST_F(memory_info, bytes_are_those_of_the_heap) {
    std::string rows;
    for (int i = 0; i < 2000; ++i) {
        const std::string number = std::to_string(i);
        rows += "<row id='" + number + "' kind='an attribute value of some length'><name>row " +
                number + "</name><!-- a comment --><?p i?>&e;<![CDATA[some more text]]></row>";
    }
    for (const std::string &doctype :
         {std::string("<!DOCTYPE a [<!ENTITY e 'entity <i>text</i>'><!ELEMENT a ANY>"
                      "<!ELEMENT i (#PCDATA)><!ATTLIST i b CDATA 'c'>]>"),
          std::string("<!DOCTYPE a [<!ENTITY e ''>]>")}) {
        const std::int64_t before = host::gate.bytes_in_use;
        const sql::handle document = parsed(doctype + "<a xmlns='u' xmlns:p='v'>" + rows + "</a>");
        const auto held = static_cast<double>(host::gate.bytes_in_use - before);
        const auto told = static_cast<double>(lines().front().bytes);
        EXPECT_GT(told, 0.9 * held);
        EXPECT_LT(told, 1.2 * held); // the heap's headers are not in what the gate counts
        sql::call(xml_dom_free_document, document);
    }
}

// Comments and processing instructions of a document type are nodes like others.
TEST_F(memory_info, what_stands_between_declarations_counts) {
    const sql::handle bare = parsed("<!DOCTYPE a [<!ELEMENT a ANY>]><a/>");
    const sql::handle full = parsed("<!DOCTYPE a [<!ELEMENT a ANY><!-- comment --><?p i?>]><a/>");
    const std::vector<memory_line> found = lines();
    EXPECT_EQ(line_of(found, full).nodes, line_of(found, bare).nodes + 2);
    EXPECT_GT(line_of(found, full).bytes,
              line_of(found, bare).bytes + static_cast<std::int64_t>(2 * sizeof(xmlNode)));
}

TEST_F(memory_info, counts_what_is_detached_and_what_was_imported) {
    const sql::handle document = parsed("<a><b/></a>");
    const std::vector<memory_line> before = lines();
    const sql::handle other = parsed("<c>" + std::string(10000, 'x') + "</c>");
    EXPECT_FALSE(sql::call(xml_dom_import_node, document, other, true).failed());
    sql::call(xml_dom_free_document, other);
    const std::vector<memory_line> after = lines();
    ASSERT_EQ(after.size(), 2U);
    EXPECT_GT(after[0].bytes, before[0].bytes + 10000);
    EXPECT_GT(after[0].nodes, before[0].nodes);
}

// Every particle of a content model counts the same, however they nest.
TEST_F(memory_info, counts_the_particles_of_content_models) {
    const auto bytes_with = [](const std::string &model) {
        const sql::handle document =
            parsed("<!DOCTYPE a [<!ELEMENT b EMPTY><!ELEMENT a " + model + ">]><a/>");
        const memory_line line = line_of(lines(), document);
        EXPECT_EQ(line.nodes, 5); // document, its type, two declarations, the root
        sql::call(xml_dom_free_document, document);
        return line.bytes;
    };
    const std::int64_t without = bytes_with("ANY");
    EXPECT_EQ(bytes_with("EMPTY"), without);
    const std::int64_t one = bytes_with("(b)") - without;
    EXPECT_GE(one, static_cast<std::int64_t>(sizeof(xmlElementContent)));
    struct counted_model {
        const char *text;
        int particles;
    };
    for (const counted_model &model : {counted_model{"(b,b)", 3},
                                       {"(b|b|b)", 5},
                                       {"((b,b),b)", 5},
                                       {"(b,(b,b))", 5},
                                       {"((b|b)*,b?,(b,b)+)", 9},
                                       {"(((b,b),b),((b,b),(b,b)))", 13},
                                       {"(#PCDATA)", 1},
                                       {"(#PCDATA|b)*", 3}}) {
        EXPECT_EQ(bytes_with(model.text), without + model.particles * one) << model.text;
    }
}

// Older versions of libxml2 copy models without telling particles what they stand below.
TEST_F(memory_info, a_content_model_that_is_linked_downwards_only) {
    const sql::handle document =
        parsed("<!DOCTYPE a [<!ELEMENT b EMPTY><!ELEMENT a ((b,b),b)>]><a/>");
    const std::int64_t whole = line_of(lines(), document).bytes;
    xmlNodePtr const declaration = trees::document_of(document)->intSubset->last;
    ASSERT_EQ(declaration->type, XML_ELEMENT_DECL);
    xmlElementContentPtr const top = reinterpret_cast<xmlElementPtr>(declaration)->content;
    xmlElementContentPtr const inner = top->c1;
    xmlElementContentPtr const second = inner->c2;
    inner->parent = nullptr;
    const auto one = static_cast<std::int64_t>(host::allocation_cost(sizeof(xmlElementContent)));
    // The walk ends where it cannot go up again, before the last particle.
    EXPECT_EQ(line_of(lines(), document).bytes, whole - one);
    inner->parent = top;
    inner->c2 = nullptr; // a sequence of one
    EXPECT_EQ(line_of(lines(), document).bytes, whole - one);
    inner->c2 = second;
    EXPECT_EQ(line_of(lines(), document).bytes, whole);
}

TEST_F(memory_info, texts_within_their_nodes_take_no_memory_of_their_own) {
    const std::string rows = "<a><b>12</b><b>34</b></a>";
    const sql::handle plain = trees::parsed(rows);
    const sql::handle compact = trees::parsed(rows, XML_PARSE_COMPACT);
    const std::vector<memory_line> found = lines();
    EXPECT_EQ(line_of(found, plain).nodes, line_of(found, compact).nodes);
    EXPECT_GT(line_of(found, plain).bytes, line_of(found, compact).bytes);
}

TEST_F(memory_info, an_external_subset_counts) {
    const sql::handle document = trees::parsed("<a/>");
    const memory_line before = line_of(lines(), document);
    {
        const host::tree_scope scope;
        xmlNewDtd(trees::document_of(document), trees::xml("a"), nullptr, trees::xml("a.dtd"));
        xmlAddDtdEntity(trees::document_of(document), trees::xml("e"), XML_INTERNAL_GENERAL_ENTITY,
                        nullptr, nullptr, trees::xml("content"));
    }
    const memory_line after = line_of(lines(), document);
    EXPECT_EQ(after.nodes, before.nodes + 2);
    EXPECT_GT(after.bytes,
              before.bytes + static_cast<std::int64_t>(sizeof(xmlDtd) + sizeof(xmlEntity)));
}

// An attribute that another has replaced is kept for its handle, until it stands somewhere again.
TEST_F(memory_info, attributes_that_are_kept_count_once) {
    const sql::handle document = parsed("<a k='old'/>");
    const sql::handle root = sql::call(xml_dom_get_document_element, document).handle();
    const sql::handle old = sql::call(xml_dom_get_attribute_node, root, "k").handle();
    const memory_line before = line_of(lines(), document);
    const sql::handle attribute = sql::call(xml_dom_create_attribute, document, "k").handle();
    EXPECT_FALSE(sql::call(xml_dom_set_attribute_node, root, attribute).failed());
    EXPECT_EQ(line_of(lines(), document).nodes, before.nodes + 1); // one without a text is new
    const sql::handle child = sql::call(xml_dom_create_element, document, "b").handle();
    EXPECT_FALSE(sql::call(xml_dom_append_child, root, child).failed());
    EXPECT_FALSE(sql::call(xml_dom_append_child, child, old).failed());
    EXPECT_EQ(line_of(lines(), document).nodes, before.nodes + 2);
}

// What stands in a document is told of it, whatever its own handles name.
TEST_F(memory_info, documents_of_html_have_no_line) {
    xmlDocPtr html = nullptr;
    {
        const host::tree_scope scope;
        html = htmlNewDocNoDtD(nullptr, nullptr);
    }
    const sql::handle document = trees::handle_of(pkg_dbe_xml::register_document(html));
    EXPECT_EQ(lines().size(), 1U);
    EXPECT_GT(lines().back().bytes, 0);
    sql::call(xml_dom_free_document, document);
    EXPECT_EQ(lines().back().bytes, 0);
}

// The walk over the documents ends with the call, whatever ends it: else no document could be made.
TEST_F(memory_info, a_cancelled_call_leaves_the_table_as_it_was) {
    std::string rows;
    for (int row = 0; row < 3000; ++row) {
        rows += "<r c='1'>text</r>";
    }
    for (int count = 0; count < 5; ++count) {
        parsed("<a>" + rows + "</a>");
    }
    const std::size_t documents = lines().size();
    for (std::int64_t polls = 1; polls < 10; ++polls) {
        host::standalone::cancel_after_polls(polls);
        const sql::result cancelled = sql::call(xml_dom_get_memory_info);
        host::standalone::forget_cancel();
        if (!cancelled.failed()) {
            EXPECT_GT(polls, 3);
            break;
        }
        EXPECT_EQ(cancelled.error_->sqlstate, "57014");
        parsed("<b/>");
        EXPECT_EQ(lines().size(), documents + static_cast<std::size_t>(polls));
    }
    for (std::int64_t at = 1; at < 10; ++at) {
        host::standalone::fail_call(host::standalone::service::allocation, at);
        const sql::result failed = sql::call(xml_dom_get_memory_info);
        host::standalone::clear_faults();
        if (!failed.failed()) {
            EXPECT_GT(at, 1);
            break;
        }
        EXPECT_EQ(failed.error_->sqlstate, "53200");
        parsed("<c/>");
    }
    EXPECT_TRUE(sql::check_invariants());
}

TEST_F(memory_info, handles_count_with_their_documents) {
    const sql::handle document = parsed("<a><b/></a>");
    const sql::handle other = parsed("<c/>");
    const sql::handle root = sql::call(xml_dom_get_document_element, document).handle();
    const std::vector<memory_line> before = lines();
    std::vector<sql::handle> held;
    for (int count = 0; count < 30000; ++count) {
        held.push_back(sql::call(xml_dom_get_first_child, root).handle());
    }
    std::vector<memory_line> after = lines();
    EXPECT_GT(line_of(after, document).bytes, line_of(before, document).bytes + 30000 * 48);
    EXPECT_LT(line_of(after, document).bytes, line_of(before, document).bytes + 30000 * 50);
    EXPECT_EQ(line_of(after, other).bytes, line_of(before, other).bytes);
    EXPECT_GT(after.back().bytes, before.back().bytes + 30000 * 48);
    EXPECT_EQ(line_of(after, document).nodes, line_of(before, document).nodes);
    for (const sql::handle &each : held) {
        sql::call(xml_dom_free_node, each);
    }
    after = lines();
    EXPECT_LT(line_of(after, document).bytes, line_of(before, document).bytes + 30000);
}

TEST_F(memory_info, parser_objects_are_in_the_whole) {
    const sql::handle parser = sql::call(xmlparser_new_parser).handle();
    EXPECT_EQ(lines().size(), 1U);
    EXPECT_GT(lines().back().bytes, 1000);
    sql::call(xmlparser_parse_clob, parser, "<a>" + std::string(10000, 'x') + "</a>");
    EXPECT_GT(lines().back().bytes, 11000);
    EXPECT_EQ(lines().back().nodes, 0);
}

} // namespace
