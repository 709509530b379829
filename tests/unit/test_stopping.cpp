// How soon long calls see that their statement is to stop, where one node is long or has much on
// it: looks counted for what there is to do.
#include "changing.hpp"

#include "libxml/xml.hpp"
#include "standalone_faults.hpp"
#include "standalone_session.hpp"
#include "support/invariants.hpp"

#include <libxml/xmlsave.h>

namespace {

using sql::call;
namespace standalone = host::standalone;

std::string repeated(std::string_view piece, int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

class stopping : public changing {
  protected:
    static std::string write(const sql::handle &of) {
        return call(xml_dom_write_to_clob_doc, of).text();
    }
    // Looks while something is done.
    template <class Action> static std::int64_t looks(Action action) {
        const std::int64_t before = standalone::poll_count();
        action();
        return standalone::poll_count() - before;
    }
};

constexpr int k_megabytes = 8;

std::string long_attribute(std::string_view piece, int megabytes = k_megabytes) {
    return "<a b='" + repeated(piece, megabytes * 1024 * 1024 / static_cast<int>(piece.size())) +
           "'/>";
}

TEST_F(stopping, writing_a_long_attribute) {
    for (const char *const piece : {"&amp;&lt;", "text", "\xC3\xA4\xE2\x82\xAC"}) {
        const sql::handle d = document(long_attribute(piece));
        EXPECT_GE(looks([&] { write(d); }),
                  std::string_view(piece)[0] == '&' ? 1 : k_megabytes - 1);
        EXPECT_GE(looks([&] { call(xml_dom_write_to_clob_node, root(d)); }), 1);
        call(xml_dom_free_document, d);
    }
}

TEST_F(stopping, writing_a_long_text) {
    const sql::handle d = document("<a>" + repeated("text", 2 * 1024 * 1024) + "</a>");
    EXPECT_GE(looks([&] { write(d); }), k_megabytes - 1);
}

TEST_F(stopping, measuring_a_long_attribute) {
    for (const std::string encoding : {"", "UTF-8", "ISO-8859-1", "UTF-16", "EUC-JP"}) {
        const std::string declaration =
            encoding.empty() ? "" : "<?xml version='1.0' encoding='" + encoding + "'?>";
        for (const char *const piece : {"&amp;&lt;", "text\t", "\xC3\xA4\xE2\x82\xAC\n"}) {
            // Where a character becomes a reference, libxml2 takes seconds a megabyte for EUC-JP,
            // and later versions a time that grows with the square.
            const int slow = encoding == "EUC-JP" ? 1 : 2;
            const int megabytes = encoding.empty() || piece[0] != '\xC3' ? k_megabytes : slow;
            const sql::handle d = document(declaration + long_attribute(piece, megabytes));
            sql::result told;
            EXPECT_GE(looks([&] { told = call(xml_dom_get_doc_trees_info); }), 1);
            if (encoding == "ISO-8859-1") {
                EXPECT_GE(looks([&] { call(xml_dom_get_doc_trees_info); }), 8 * megabytes);
            }
            // What libxml2 makes of the whole.
            auto *const tree = reinterpret_cast<xmlDocPtr>(node(d));
            std::int64_t size = 0;
            {
                const host::xml_scope scope;
                xmlOutputBufferPtr buffer = xmlOutputBufferCreateIO(
                    [](void *sum, const char *, int bytes) {
                        *static_cast<std::int64_t *>(sum) += bytes;
                        return bytes;
                    },
                    nullptr, &size,
                    encoding.empty() || encoding == "UTF-8"
                        ? nullptr
                        : xmlFindCharEncodingHandler(encoding.c_str()));
                xmlSaveFormatFileTo(buffer, tree, reinterpret_cast<const char *>(tree->encoding),
                                    0);
            }
            EXPECT_NE(told.text().find("Memory used:" + std::to_string(size) + " byte"),
                      std::string::npos)
                << told.text() << size;
            EXPECT_NE(write(d).find(piece[0] == '&' ? "&amp;&lt;" : "b=\""), std::string::npos)
                << "the value is back";
            call(xml_dom_free_document, d);
        }
    }
}

// --- copies -------------------------------------------------------------------------------------

std::string attributes_in_namespaces(int count) {
    std::string text = "<r";
    for (int i = 0; i < count; ++i) {
        text += " xmlns:p" + std::to_string(i) + "='u" + std::to_string(i) + "'";
    }
    text += "><e";
    for (int i = 0; i < count; ++i) {
        text += " p" + std::to_string(i) + ":a='v'";
    }
    return text + "/></r>";
}

TEST_F(stopping, importing_many_namespaces) {
    constexpr int k_count = 9000;
    const sql::handle from = document(attributes_in_namespaces(k_count));
    const sql::handle into = document("<x/>");
    const sql::handle element = call(xml_dom_get_first_child, root(from)).handle();
    sql::result copy;
    EXPECT_GE(looks([&] { copy = call(xml_dom_import_node, into, element, true); }), 2);
    const std::string text = written(copy.handle());
    for (const int i : {0, 15, 16, 17, 4711, k_count - 1}) {
        const std::string number = std::to_string(i);
        const std::string declaration = " xmlns:p" + number + "=\"u" + number + "\"";
        const std::size_t place = text.find(declaration);
        ASSERT_NE(place, std::string::npos) << declaration;
        EXPECT_EQ(text.find(declaration, place + 1), std::string::npos) << "once";
        EXPECT_NE(text.find(" p" + number + ":a=\"v\""), std::string::npos);
    }
}

// The prefixes mean something else on the top of the copy.
TEST_F(stopping, importing_prefixes_that_are_taken) {
    constexpr int k_count = 40;
    std::string declared;
    std::string declared_again;
    std::string used;
    for (int i = 0; i < k_count; ++i) {
        const std::string number = std::to_string(i);
        declared += " xmlns:p" + number + "='u" + number + "'";
        declared_again += " xmlns:p" + number + "='x" + number + "'";
        used += " p" + number + ":a='v'";
    }
    const sql::handle from =
        document("<r" + declared + "><e" + used + "/><t" + declared_again + "/></r>");
    const sql::handle into = document("<x/>");
    const sql::handle target = last(root(from));
    append(target, first(root(from)));
    const sql::handle copy = import(into, target, true);
    const xmlNode *const top = node(copy);
    const xmlNode *const inner = top->children;
    ASSERT_NE(inner, nullptr);
    int count = 0;
    for (const xmlAttr *each = inner->properties; each != nullptr; each = each->next) {
        const std::string number = std::to_string(count);
        ASSERT_NE(each->ns, nullptr);
        EXPECT_STREQ(reinterpret_cast<const char *>(each->ns->href), ("u" + number).c_str());
        EXPECT_STREQ(reinterpret_cast<const char *>(each->ns->prefix), ("p" + number).c_str());
        EXPECT_EQ(xmlSearchNs(inner->doc, const_cast<xmlNodePtr>(inner), each->ns->prefix),
                  each->ns);
        ++count;
    }
    EXPECT_EQ(count, k_count);
}

// --- what is released ---------------------------------------------------------------------------

// Asked to stop at its first look, a call changes nothing; asked again, it does its work.
class releasing : public stopping {
  protected:
    template <class Action> static void expect_stopped_then_done(Action action) {
        const std::size_t handles = pkg_dbe_xml::xml_count_hashentries();
        const std::int64_t bytes = libxml2_bytes();
        standalone::cancel_after_polls(1);
        const sql::result stopped = action();
        ASSERT_TRUE(stopped.failed());
        EXPECT_EQ(stopped.error_->sqlstate, "57014");
        EXPECT_TRUE(sql::check_invariants());
        EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(), handles);
        EXPECT_EQ(libxml2_bytes(), bytes);
        standalone::forget_cancel();
        EXPECT_FALSE(action().failed());
        EXPECT_LT(libxml2_bytes(), bytes);
        EXPECT_TRUE(sql::check_invariants());
    }
    static std::string wide_tree() { return "<r>" + repeated("<e/>", k_width) + "</r>"; }
    static constexpr int k_width = 20000;
    sql::node_watch watch;
};

// Where nodes were detached, the trees that are to be freed are looked for through the handles.
TEST_F(releasing, a_document_with_many_handles) {
    const sql::handle d = document("<r/>");
    element(d, "loose");
    for (int i = 0; i < k_width; ++i) {
        call(xml_dom_makenode, root(d));
        host::standalone::reset_caller_context();
    }
    EXPECT_GE(
        looks([&] { expect_stopped_then_done([&] { return call(xml_dom_free_document, d); }); }),
        2 * k_width / 4096);
}

// Elsewhere there is nothing to look for: so many handles and members of lists are not gone over.
TEST_F(releasing, a_document_that_nothing_has_left) {
    const sql::handle d = document(wide_tree());
    const sql::handle list = call(xml_dom_get_child_nodes, root(d)).handle();
    for (int i = 0; i < k_width; ++i) {
        call(xml_dom_item, list, i);
        host::standalone::reset_caller_context();
    }
    EXPECT_LE(
        looks([&] { expect_stopped_then_done([&] { return call(xml_dom_free_document, d); }); }),
        4);
}

TEST_F(releasing, the_last_handle_of_a_document) {
    const sql::handle d = document("<r/>");
    for (int i = 0; i < k_width; ++i) {
        element(d, "e");
    }
    expect_stopped_then_done([&] { return call(xml_dom_free_node, d); });
    EXPECT_TRUE(is_null(d));
}

TEST_F(releasing, all_documents) {
    const sql::handle d = document("<r/>");
    for (int i = 0; i < k_width; ++i) {
        element(d, "e");
    }
    expect_stopped_then_done([&] { return call(xml_dom_free_all); });
}

TEST_F(releasing, a_detached_tree) {
    const sql::handle d = document("<r/>");
    const sql::handle copy = import(d, root(document(wide_tree())), true);
    expect_stopped_then_done([&] { return call(xml_dom_free_node, copy); });
    EXPECT_TRUE(is_null(copy));
    EXPECT_EQ(detached(d), 0U);
}

// One that is kept for a node of it which is not its root.
TEST_F(releasing, a_detached_tree_by_its_witness) {
    const sql::handle d = document("<r/>");
    const sql::handle copy = import(d, root(document(wide_tree())), true);
    const sql::handle inner = first(copy);
    call(xml_dom_free_node, copy);
    EXPECT_EQ(detached(d), 1U);
    expect_stopped_then_done([&] { return call(xml_dom_free_node, inner); });
    EXPECT_EQ(detached(d), 0U);
}

} // namespace
