// Statements cancelled at every place where a long call looks whether it is to stop.
#include "registry.hpp"
#include "standalone_files.hpp"
#include "standalone_session.hpp"
#include "support/faults.hpp"
#include "support/invariants.hpp"

#include <cstdio>
#include <filesystem>
#include <memory>

namespace {

namespace standalone = host::standalone;

// Elements one below the other, and as many beside each other below the last.
std::string long_document(int depth, int width) {
    std::string text = "<r>";
    for (int i = 0; i < depth; ++i) {
        text += "<d a=\"1\">";
    }
    for (int i = 0; i < width; ++i) {
        text += "<w>text</w>";
    }
    for (int i = 0; i < depth; ++i) {
        text += "</d>";
    }
    return text + "</r>";
}

constexpr int k_depth = 500;
constexpr int k_width = 17000;

// The same text for every round.
const std::string &the_text() {
    static const std::string text = long_document(k_depth, k_width);
    return text;
}

struct long_trees {
    sql::handle document, root, other, parser, wide, wide_node, list;

    void build() {
        document = sql::call(xml_dom_new_document_clob, the_text()).handle();
        root = sql::call(xml_dom_get_document_element, document).handle();
        other = sql::call(xml_dom_new_document_clob, "<o/>").handle();
        parser = sql::call(xmlparser_new_parser).handle();
        sql::handle each = root;
        for (int i = 0; i < k_depth; ++i) {
            each = sql::call(xml_dom_get_first_child, each).handle();
        }
        wide_node = each;
        wide = sql::call(xml_dom_make_element, each).handle();
        list = sql::call(xml_dom_get_child_nodes, wide).handle();
    }
    [[nodiscard]] std::string state() const {
        const sql::result text = sql::call(xml_dom_write_to_clob_doc, document);
        const sql::result other_text = sql::call(xml_dom_write_to_clob_doc, other);
        return std::to_string(pkg_dbe_xml::xml_count_hashentries()) + " handles\n" +
               (text.failed() ? text.error_->message : std::to_string(text.text().size())) + "\n" +
               (other_text.failed() ? "" : std::to_string(other_text.text().size()));
    }
};

using argument_list = std::vector<sql::value>;
struct long_call {
    const char *name;
    sql::function entry;
    argument_list (*arguments)(const long_trees &);
};

#define LONG_CALL(function, ...)                                                                   \
    long_call {                                                                                    \
#function, function,                                                                       \
            []([[maybe_unused]] const long_trees &t) { return argument_list{__VA_ARGS__}; }        \
    }

// Those that take as long as their argument is large.
// clang-format off
const long_call k_long_calls[] = {
    LONG_CALL(xml_dom_new_document_clob, the_text()),
    LONG_CALL(xml_dom_new_document_xmltype, the_text()),
    LONG_CALL(xmlparser_parse_clob, t.parser, the_text()),
    LONG_CALL(xml_dom_get_child_nodes, t.wide_node),
    LONG_CALL(xml_dom_get_children_by_tagname, t.wide, "w"),
    LONG_CALL(xml_dom_get_elements_by_tagname_document, t.document, "*"),
    LONG_CALL(xml_dom_get_elements_by_tagname_element, t.root, "w"),
    LONG_CALL(xml_dom_get_doc_trees_info),
    LONG_CALL(xml_dom_get_detail_doc_tree_info, t.document),
    LONG_CALL(xml_dom_import_node, t.other, t.root, true),
    LONG_CALL(xml_dom_import_node, t.other, t.document, true),
    LONG_CALL(xml_dom_write_to_clob_doc, t.document),
    LONG_CALL(xml_dom_write_to_clob_node, t.wide),
    LONG_CALL(xml_dom_write_to_file_doc, t.document, "out/long.xml"),
    LONG_CALL(xml_dom_write_to_file_node, t.wide, "out/long.xml"),
};
// clang-format on

class cancel : public ::testing::TestWithParam<long_call> {
  protected:
    void SetUp() override {
        std::string name =
            (std::filesystem::temp_directory_path() / "pkg_dbe_xml_test_XXXXXX").string();
        folder = mkdtemp(name.data());
    }
    void TearDown() override { std::filesystem::remove_all(folder); }
    std::filesystem::path folder;
};

TEST_P(cancel, leaves_everything_as_it_was) {
    const long_call &row = GetParam();
    auto trees = std::make_shared<long_trees>();
    sql::scenario played;
    played.name = row.name;
    played.prepare = [this, trees] {
        standalone::create_directory_object("out", folder.string());
        trees->build();
    };
    played.run = [trees, &row] { return sql::call_with(row.entry, row.arguments(*trees)); };
    played.state = [trees] { return trees->state(); };

    // How often the call looks; some four of these places are tried.
    standalone::begin_session();
    played.prepare();
    const std::int64_t before = standalone::poll_count();
    ASSERT_FALSE(played.run().failed());
    const std::int64_t polls = standalone::poll_count() - before;
    EXPECT_TRUE(standalone::end_session().nothing());
    EXPECT_GE(polls, 2) << "a long call looks whether it is to stop";
    played.stride = polls / 4 + 1;

    const sql::sweep_figures figures = sql::sweep_failures(played, standalone::service::poll);
    EXPECT_GE(figures.reported, 2);
    std::printf("             %lld polls, cancelled at %lld, %lld reported\n",
                static_cast<long long>(polls), static_cast<long long>(figures.rounds),
                static_cast<long long>(figures.reported));
}

INSTANTIATE_TEST_SUITE_P(long_calls, cancel, ::testing::ValuesIn(k_long_calls),
                         [](const ::testing::TestParamInfo<long_call> &row) {
                             return std::string(row.param.name) + "_" + std::to_string(row.index);
                         });

// However short a text: one look is taken between the end of its parse and the moment when its
// document is registered, or becomes the parser's.
class cancel_behind_the_parse : public sql::session_test {
  protected:
    static std::int64_t polls_of(sql::function entry, const argument_list &arguments) {
        const std::int64_t before = standalone::poll_count();
        EXPECT_FALSE(sql::call_with(entry, arguments).failed());
        return standalone::poll_count() - before;
    }
    // Cancels the call at its last look.
    static void cancel_at_the_end(sql::function entry, const argument_list &arguments) {
        const std::int64_t polls = polls_of(entry, arguments);
        ASSERT_GE(polls, 1);
        standalone::cancel_after_polls(polls);
        const sql::result stopped = sql::call_with(entry, arguments);
        ASSERT_TRUE(stopped.failed());
        EXPECT_EQ(stopped.error_->sqlstate, "57014");
    }
};

TEST_F(cancel_behind_the_parse, no_document_is_registered) {
    for (const sql::function entry : {xml_dom_new_document_clob, xml_dom_new_document_xmltype}) {
        const std::size_t before = pkg_dbe_xml::xml_count_hashentries();
        cancel_at_the_end(entry, {"<a/>"});
        EXPECT_EQ(pkg_dbe_xml::xml_count_hashentries(),
                  before + 1); // of the call that was not stopped
    }
}

TEST_F(cancel_behind_the_parse, a_parser_object_is_empty) {
    const sql::handle parser = sql::call(xmlparser_new_parser).handle();
    for (const sql::function entry : {xmlparser_parse_clob, xmlparser_parse_buffer}) {
        cancel_at_the_end(entry, {parser, "<a/>"});
        EXPECT_TRUE(sql::call(xmlparser_get_doc, parser).is_null());
        EXPECT_FALSE(sql::call(entry, parser, "<b/>").failed());
        EXPECT_FALSE(sql::call(xmlparser_get_doc, parser).is_null());
    }
}

// --- how often a parse looks ------------------------------------------------------------------

constexpr std::size_t k_megabyte = std::size_t{1} << 20U;

std::string repeated(std::string_view piece, std::size_t size) {
    std::string text;
    while (text.size() < size) {
        text += piece;
    }
    return text;
}

// Looks in the parse of a text of `size` bytes, made of one piece between two others.
std::int64_t looks_in_parse(std::string_view before, std::string_view piece, std::string_view after,
                            std::size_t size) {
    const std::string text = std::string(before) + repeated(piece, size) + std::string(after);
    const std::int64_t polls = standalone::poll_count();
    const sql::result document = sql::call(xml_dom_new_document_clob, text);
    EXPECT_FALSE(document.failed());
    const std::int64_t looks = standalone::poll_count() - polls;
    sql::call(xml_dom_free_document, document.handle());
    return looks;
}

// A parse looks at least once in half a megabyte, whatever the text is made of.
TEST_F(cancel_behind_the_parse, looks_grow_with_the_text) {
    const struct {
        std::string_view before, piece, after;
    } texts[] = {
        {"<a>", "<b c='d'>text<e/></b>", "</a>"},
        {"<a>", "text of a long node ", "</a>"},
        {"<a><!--", "text of a long node ", "--></a>"},
        {"<a b='", "text of a long node ", "'/>"},
        {"<a><![CDATA[", "text of a long node ", "]]></a>"},
        {"<a><?p ", "text of a long node ", "?></a>"},
        {"<!DOCTYPE a [<!ENTITY e 'text'>]><a>", "<b>&e;</b>", "</a>"},
        {"<a>", "&lt;", "</a>"},
    };
    for (const auto &text : texts) {
        const std::int64_t looks =
            looks_in_parse(text.before, text.piece, text.after, 8 * k_megabyte);
        std::printf("             %3lld looks: %.*s\n", static_cast<long long>(looks),
                    static_cast<int>(text.before.size()), text.before.data());
        EXPECT_GE(looks, 16) << text.before;
    }
}

} // namespace
