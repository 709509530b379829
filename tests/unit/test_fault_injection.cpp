// Every function with every allocation, conversion, fetching of a value, look-up and file step
// failing, one at a time.
#include "registry.hpp"
#include "standalone_files.hpp"
#include "standalone_session.hpp"
#include "support/faults.hpp"
#include "support/invariants.hpp"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>

namespace {

namespace standalone = host::standalone;

constexpr const char *k_document =
    "<!DOCTYPE r [<!ENTITY e \"ent &#233; ity\"><!ATTLIST r d CDATA \"default\">"
    "<!ELEMENT c (#PCDATA)><!NOTATION n SYSTEM \"n\">]>"
    "<r xmlns:p=\"urn:p\" a=\"1\" p:b=\"2 &#233;\"><c>text &e;</c><!--comment--><?target data?>"
    "<![CDATA[cdata]]>tail<p:d e=\"3\"><c/><c xmlns=\"urn:q\">deep</c></p:d></r>";

// What a function's arguments are chosen from.
struct world {
    sql::handle document, other_document;
    sql::handle root, child, text, comment, attribute, element, deep, second;
    sql::handle list, map;
    sql::handle new_element, new_text, new_attribute, foreign;
    sql::handle parser, used_parser, handed_parser;
    std::filesystem::path directory;
    std::uint32_t last_node_id = 0; // of the document, when the call is made; 0: as it comes

    void build();
    [[nodiscard]] std::string state() const;
};

template <class... Argument> sql::handle made(sql::function entry, const Argument &...arguments) {
    return sql::call(entry, arguments...).handle();
}

sql::handle made_parser(bool handed_over) {
    const sql::handle parser = made(xmlparser_new_parser);
    EXPECT_FALSE(sql::call(xmlparser_parse_clob, parser, "<parsed>p</parsed>").failed());
    if (handed_over) {
        EXPECT_FALSE(sql::call(xmlparser_get_doc, parser).failed());
    }
    return parser;
}

void world::build() {
    document = made(xml_dom_new_document_clob, k_document);
    other_document = made(xml_dom_new_document_clob, "<o><f x=\"y\">z</f></o>");
    root = made(xml_dom_get_document_element, document);
    child = made(xml_dom_get_first_child, root);
    text = made(xml_dom_get_first_child, child);
    comment = made(xml_dom_get_next_sibling, child);
    attribute = made(xml_dom_get_attribute_node, root, "a");
    element = made(xml_dom_make_element, child);
    const sql::handle last = made(xml_dom_get_last_child, root);
    deep = made(xml_dom_make_element, last);
    list = made(xml_dom_get_child_nodes, root);
    map = made(xml_dom_get_attributes, made(xml_dom_makenode, root));
    second = made(xml_dom_item, list, 1);
    new_element = made(xml_dom_create_element, document, "made");
    new_text = made(xml_dom_create_text_node, document, "made text");
    new_attribute = made(xml_dom_create_attribute, document, "a");
    foreign = made(xml_dom_get_first_child, made(xml_dom_get_document_element, other_document));
    parser = made(xmlparser_new_parser);
    used_parser = made_parser(false);
    handed_parser = made_parser(true);
    for (sql::handle each = root; each.node_id() < last_node_id;) {
        each = made(xml_dom_get_document_element, document);
    }
    if (!directory.empty()) {
        standalone::create_directory_object("out", directory.string());
    }
}

std::string described(const sql::result &outcome) {
    if (outcome.failed()) {
        return "error " + outcome.error_->sqlstate + " " + outcome.error_->message;
    }
    return outcome.is_null() ? "null" : outcome.text();
}

std::string world::state() const {
    std::string all = std::to_string(pkg_dbe_xml::xml_count_hashentries()) + " handles\n";
    for (const sql::handle &each : {document, other_document}) {
        all += described(sql::call(xml_dom_write_to_clob_doc, each)) + "\n";
    }
    for (const sql::handle &each : {root, child, text, attribute, new_element, new_attribute}) {
        all += described(sql::call(xml_dom_write_to_clob_node, each)) + "\n";
    }
    const sql::result length = sql::call(xml_dom_get_length, list);
    return all + (length.failed() ? "no list" : std::to_string(length.integer()));
}

// --- the calls -----------------------------------------------------------------------------------

enum class shape : int { value, word, nothing }; // what the function gives

using argument_list = std::vector<sql::value>;
struct call_row {
    const char *function;
    const char *name; // of the case
    sql::function entry;
    shape gives;
    argument_list (*arguments)(const world &);
};

#define CALL(function, name, gives, ...)                                                           \
    call_row {                                                                                     \
#function, #function " " name, function, shape::gives,                                     \
            []([[maybe_unused]] const world &w) { return argument_list{__VA_ARGS__}; }             \
    }

// clang-format off
const call_row k_calls[] = {
    CALL(xml_dom_new_document_empty, "", value),
    CALL(xml_dom_new_document_clob, "", value, k_document),
    CALL(xml_dom_new_document_clob, "large", value, sql::large_text{k_document}),
    CALL(xml_dom_new_document_clob, "ill-formed", value, "<a><b></a>"),
    CALL(xml_dom_new_document_xmltype, "", value, k_document),
    CALL(xml_dom_free_document, "", nothing, w.document),
    CALL(xml_dom_free_document, "by a node", nothing, w.text),
    CALL(xml_dom_create_element, "", value, w.document, "name"),
    CALL(xml_dom_create_element_ns, "", value, w.document, "q:name", "urn:q"),
    CALL(xml_dom_create_text_node, "", value, w.document, "some text"),
    CALL(xml_dom_create_text_node, "long", value, w.document, std::string(5000, 't')),
    CALL(xml_dom_create_attribute, "", value, w.document, "name"),
    CALL(xml_dom_get_document_element, "", value, w.document),
    CALL(xml_dom_set_charset, "", nothing, w.document, "ISO-8859-1"),
    CALL(xml_dom_set_doctype, "", nothing, w.document, "name", "system", "public"),
    CALL(xml_dom_set_doctype, "new", nothing, w.other_document, "name", "system", "public"),
    CALL(xml_dom_get_parent_node, "", value, w.child),
    CALL(xml_dom_get_parent_node, "document", value, w.root),
    CALL(xml_dom_get_first_child, "", value, w.root),
    CALL(xml_dom_get_first_child, "attribute", value, w.attribute),
    CALL(xml_dom_get_last_child, "", value, w.root),
    CALL(xml_dom_get_next_sibling, "", value, w.child),
    CALL(xml_dom_get_child_nodes, "", value, w.root),
    CALL(xml_dom_get_node_value, "text", value, w.text),
    CALL(xml_dom_get_node_value, "attribute", value, w.attribute),
    CALL(xml_dom_get_node_value, "comment", value, w.comment),
    CALL(xml_dom_get_node_name, "", value, w.child),
    CALL(xml_dom_get_node_name, "prefixed", value, w.deep),
    CALL(xml_dom_get_node_type, "", word, w.child),
    CALL(xml_dom_get_attributes, "", value, w.root),
    CALL(xml_dom_get_attribute_ns, "", value, w.root, "b", "urn:p"),
    CALL(xml_dom_get_length, "list", word, w.list),
    CALL(xml_dom_get_length, "map", word, w.map),
    CALL(xml_dom_item, "list", value, w.list, 2),
    CALL(xml_dom_item, "map", value, w.map, 1),
    CALL(xml_dom_get_named_item, "", value, w.map, "a"),
    CALL(xml_dom_get_named_item_ns, "", value, w.map, "b", "urn:p"),
    CALL(xml_dom_get_session_tree_num, "", word),
    CALL(xml_dom_get_doc_trees_info, "", value),
    CALL(xml_dom_get_detail_doc_tree_info, "", value, w.document),
    CALL(xml_dom_get_attribute, "", value, w.element, "a"),
    CALL(xml_dom_get_attribute, "there", value, w.deep, "e"),
    CALL(xml_dom_get_tagname, "", value, w.deep),
    CALL(xml_dom_get_localname, "", value, w.deep),
    CALL(xml_dom_get_attribute_node, "", value, w.root, "a"),
    CALL(xml_dom_get_attribute_node, "namespace", value, w.root, "b", "urn:p"),
    CALL(xml_dom_get_attribute_node, "declared", value, w.root, "d"),
    CALL(xml_dom_get_children_by_tagname, "", value, w.root, "c"),
    CALL(xml_dom_get_children_by_tagname_ns, "", value, w.root, "d", "urn:p"),
    CALL(xml_dom_get_elements_by_tagname_document, "", value, w.document, "*"),
    CALL(xml_dom_get_elements_by_tagname_element, "", value, w.deep, "c"),
    CALL(xml_dom_get_elements_by_tagname_ns, "", value, w.root, "c", "urn:q"),
    CALL(xml_dom_set_attribute, "new", nothing, w.element, "x", "value & more"),
    CALL(xml_dom_set_attribute, "old", nothing, w.deep, "e", "another value"),
    CALL(xml_dom_set_attribute, "named", nothing, w.root, "a", "another value"),
    CALL(xml_dom_set_attribute_ns, "new", nothing, w.deep, "x", "value", "urn:new"),
    CALL(xml_dom_set_attribute_ns, "old", nothing, w.root, "b", "value", "urn:p"),
    CALL(xml_dom_set_attribute_node, "new", value, w.element, w.new_attribute),
    CALL(xml_dom_set_attribute_node, "replaced", value, w.root, w.new_attribute),
    CALL(xml_dom_set_attribute_node, "moved", value, w.element, w.attribute),
    CALL(xml_dom_remove_attribute_node, "", value, w.root, w.attribute),
    CALL(xml_dom_make_attr, "", value, w.attribute),
    CALL(xml_dom_make_element, "", value, w.child),
    CALL(xml_dom_makenode, "element", value, w.element),
    CALL(xml_dom_makenode, "document", value, w.document),
    CALL(xml_dom_is_null, "", word, w.child),
    CALL(xml_dom_has_child_nodes, "", word, w.child),
    CALL(xml_dom_append_child, "element", value, w.child, w.new_element),
    CALL(xml_dom_append_child, "text behind text", value, w.child, w.new_text),
    CALL(xml_dom_append_child, "text into text", value, w.text, w.new_text),
    CALL(xml_dom_append_child, "element into text", value, w.text, w.new_element),
    CALL(xml_dom_append_child, "attribute", value, w.deep, w.new_attribute),
    CALL(xml_dom_append_child, "attribute replaced", value, w.root, w.new_attribute),
    CALL(xml_dom_append_child, "moved", value, w.root, w.child),
    CALL(xml_dom_import_node, "deep", value, w.document, w.foreign, true),
    CALL(xml_dom_import_node, "shallow", value, w.document, w.foreign),
    CALL(xml_dom_import_node, "root", value, w.other_document, w.root, true),
    CALL(xml_dom_import_node, "attribute", value, w.other_document, w.attribute, true),
    CALL(xml_dom_import_node, "document", value, w.document, w.other_document, true),
    CALL(xml_dom_set_node_value, "text", nothing, w.text, "new & text"),
    CALL(xml_dom_set_node_value, "attribute", nothing, w.attribute, "new & value"),
    CALL(xml_dom_set_node_value, "comment", nothing, w.comment, "new comment"),
    CALL(xml_dom_free_node, "attached", nothing, w.child),
    CALL(xml_dom_free_node, "detached", nothing, w.new_text),
    CALL(xml_dom_free_node, "document", nothing, w.document),
    CALL(xml_dom_free_element, "", nothing, w.new_element),
    CALL(xml_dom_free_nodelist, "", nothing, w.list),
    CALL(xml_dom_write_to_buffer_doc, "", value, w.document),
    CALL(xml_dom_write_to_clob_doc, "", value, w.document),
    CALL(xml_dom_write_to_buffer_node, "", value, w.root),
    CALL(xml_dom_write_to_clob_node, "", value, w.root),
    CALL(xml_dom_write_to_file_doc, "", nothing, w.document, "out/doc.xml"),
    CALL(xml_dom_write_to_file_doc, "encoded", nothing, w.document, "out/doc.xml", "ISO-8859-1"),
    CALL(xml_dom_write_to_file_doc, "converted by iconv", nothing, w.document, "out/doc.xml", "EUC-JP"),
    CALL(xml_dom_write_to_file_node, "", nothing, w.root, "out/node.xml"),
    CALL(xml_dom_write_to_file_node, "encoded", nothing, w.root, "out/node.xml", "ISO-8859-1"),
    CALL(xmlparser_new_parser, "", value),
    CALL(xmlparser_free_parser, "new", nothing, w.parser),
    CALL(xmlparser_free_parser, "with a document", nothing, w.used_parser),
    CALL(xmlparser_free_parser, "handed over", nothing, w.handed_parser),
    CALL(xmlparser_parse_clob, "", nothing, w.parser, k_document),
    CALL(xmlparser_parse_clob, "large", nothing, w.parser, sql::large_text{k_document}),
    CALL(xmlparser_parse_clob, "again", nothing, w.used_parser, k_document),
    CALL(xmlparser_parse_clob, "ill-formed", nothing, w.parser, "<a"),
    CALL(xmlparser_parse_buffer, "", nothing, w.parser, k_document),
    CALL(xmlparser_get_doc, "first", value, w.used_parser),
    CALL(xmlparser_get_doc, "again", value, w.handed_parser),
    CALL(xmlparser_set_validation_mode, "", nothing, w.parser, true),
    CALL(xmlparser_get_validation_mode, "", word, w.parser),
};
// clang-format on

// --- the sweeps ----------------------------------------------------------------------------------

// A folder that goes with the test.
class passing_folder {
  public:
    passing_folder() {
        std::string name =
            (std::filesystem::temp_directory_path() / "pkg_dbe_xml_test_XXXXXX").string();
        path_ = mkdtemp(name.data());
    }
    ~passing_folder() { std::filesystem::remove_all(path_); }
    passing_folder(const passing_folder &) = delete;
    passing_folder &operator=(const passing_folder &) = delete;
    [[nodiscard]] const std::filesystem::path &path() const { return path_; }

  private:
    std::filesystem::path path_;
};

std::string shown(shape gives, const sql::result &outcome) {
    if (outcome.is_null() || gives == shape::nothing) {
        return outcome.is_null() ? "null" : "";
    }
    return gives == shape::word ? std::to_string(outcome.datum()) : outcome.stored_bytes();
}

bool writes_file(const call_row &row) {
    return std::string_view(row.function).find("write_to_file") != std::string_view::npos;
}

// A parser lets go of its last document before it parses the next; an element is registered before
// its namespace is looked at, and stays.
bool keeps_a_part(const call_row &row) {
    return std::string_view(row.name) == "xmlparser_parse_clob again" ||
           std::string_view(row.function) == "xml_dom_create_element_ns";
}

// libxml2 2.9 loses the text of an entity when it cannot copy it into the document.
constexpr std::int64_t k_entity_text = 256;
bool parses_entities(const call_row &row) {
    const std::string_view function(row.function);
    return function == "xml_dom_new_document_clob" || function == "xml_dom_new_document_xmltype" ||
           function == "xmlparser_parse_clob" || function == "xmlparser_parse_buffer";
}

sql::scenario scenario_of(const call_row &row, const passing_folder &folder,
                          const char *database_encoding, std::uint32_t last_node_id) {
    auto everything = std::make_shared<world>();
    everything->last_node_id = last_node_id;
    everything->directory = folder.path();
    sql::scenario played;
    played.name = row.name;
    played.database_encoding = database_encoding;
    played.prepare = [everything, &folder] {
        for (const auto &file : std::filesystem::directory_iterator(folder.path())) {
            std::filesystem::remove(file);
        }
        everything->build();
    };
    played.run = [everything, &row] {
        return sql::call_with(row.entry, row.arguments(*everything));
    };
    played.state = [everything] { return everything->state(); };
    played.shown = [&row, &folder](const sql::result &outcome) {
        std::string all = shown(row.gives, outcome);
        if (writes_file(row)) {
            for (const auto &file : std::filesystem::directory_iterator(folder.path())) {
                std::ifstream stream(file.path(), std::ios::binary);
                all += file.path().filename().string() + ": " +
                       std::string(std::istreambuf_iterator<char>(stream), {});
            }
        }
        return all;
    };
    played.all_or_nothing = !keeps_a_part(row);
    played.libxml2_may_lose = parses_entities(row) ? k_entity_text : 0;
    return played;
}

class fault_injection : public ::testing::Test {
  protected:
    sql::sweep_figures sweep_all(standalone::service which, const char *database_encoding = "UTF8",
                                 std::uint32_t last_node_id = 0) {
        sql::sweep_figures figures;
        for (const call_row &row : k_calls) {
            const sql::sweep_figures swept = sql::sweep_failures(
                scenario_of(row, folder, database_encoding, last_node_id), which);
            injected_[row.function] += swept.rounds;
            figures += swept;
        }
        for (const auto &[function, count] : injected_) {
            RecordProperty(function, std::to_string(count));
        }
        RecordProperty("injected", std::to_string(figures.rounds));
        RecordProperty("reported", std::to_string(figures.reported));
        std::printf("             %lld injected, %lld reported, %lld harmless\n",
                    static_cast<long long>(figures.rounds),
                    static_cast<long long>(figures.reported),
                    static_cast<long long>(figures.harmless));
        return figures;
    }
    passing_folder folder;

  private:
    std::map<std::string, std::int64_t> injected_; // by function, in all sweeps of a test
};

TEST_F(fault_injection, every_function_is_swept) {
    std::set<std::string> swept;
    for (const call_row &row : k_calls) {
        swept.insert(row.function);
    }
    std::set<std::string> all;
#define PKG_DBE_XML_NAME(name, fewest, most) all.insert(#name);
    PKG_DBE_XML_FOR_EACH_FUNCTION(PKG_DBE_XML_NAME)
#undef PKG_DBE_XML_NAME
    EXPECT_EQ(all.size(), 65U);
    EXPECT_EQ(swept, all);
}

TEST_F(fault_injection, allocations_of_the_host) {
    EXPECT_GT(sweep_all(standalone::service::allocation).reported, 100);
}

// Where the next handle of the document needs more room in the registry.
TEST_F(fault_injection, allocations_of_the_host_where_the_registry_grows) {
    for (const std::uint32_t last_node_id : {39U, 255U, 511U, 1279U}) {
        EXPECT_GT(sweep_all(standalone::service::allocation, "UTF8", last_node_id).reported, 100);
    }
}

TEST_F(fault_injection, allocations_of_libxml2) {
    const sql::sweep_figures figures = sweep_all(standalone::service::libxml2_allocation);
    EXPECT_GT(figures.reported, 1000);
    // The one or, as its hashes fall, two allocations in which a parse copies an entity's content,
    // each failing alone and with all that follow.
    EXPECT_LE(figures.lossy, 28);
}

TEST_F(fault_injection, conversions) {
    EXPECT_GT(sweep_all(standalone::service::conversion, "LATIN1").reported, 50);
}

TEST_F(fault_injection, allocations_of_conversions) {
    EXPECT_GT(sweep_all(standalone::service::allocation, "LATIN1").reported, 150);
}

TEST_F(fault_injection, fetching_values) {
    EXPECT_GT(sweep_all(standalone::service::detoast).reported, 65);
}

TEST_F(fault_injection, slices) { EXPECT_EQ(sweep_all(standalone::service::slice).reported, 2); }

TEST_F(fault_injection, missing_slices) {
    EXPECT_EQ(sweep_all(standalone::service::missing_slice).reported, 2);
}

TEST_F(fault_injection, the_catalogue) {
    EXPECT_GE(sweep_all(standalone::service::catalogue).reported, 12);
}

TEST_F(fault_injection, files) { EXPECT_GE(sweep_all(standalone::service::file).reported, 20); }

TEST_F(fault_injection, warnings) {
    EXPECT_GE(sweep_all(standalone::service::warning).reported, 1);
}

// The first call of a session sets everything up; whatever of it failed, the session can end.
TEST_F(fault_injection, a_session_can_end_after_its_first_call_failed) {
    for (const bool goes_on : {false, true}) {
        for (const sql::function entry : {xml_dom_new_document_empty, xmlparser_new_parser}) {
            sql::scenario played;
            played.name = "the first call";
            played.run = [entry] { return sql::call(entry); };
            played.goes_on = goes_on;
            EXPECT_GT(sql::sweep_allocation_failures(played).reported, 5);
        }
    }
}

} // namespace
