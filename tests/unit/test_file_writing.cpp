// Writing files: what is in them, in which character sets, and what a hostile file system makes of
// the attempt.
#include "trees.hpp"

#include "faults.hpp"
#include "host/path.hpp"
#include "standalone_files.hpp"
#include "standalone_session.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <libxml/HTMLtree.h>
#include <pwd.h>
#include <sstream>
#include <string>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace standalone = host::standalone;
namespace fs = std::filesystem;
using namespace trees;
using std::string_literals::operator""s;

constexpr const char *k_declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

std::string contents(const std::string &path) {
    std::ostringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}
void put(const std::string &path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

class file_writing : public sql::session_test {
  protected:
    void SetUp() override {
        sql::session_test::SetUp();
        char name[] = "/tmp/pkg_dbe_xml_files_XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        top = name;
        folder = top + "/out";
        fs::create_directory(folder);
        standalone::create_directory_object("out", folder);
    }
    void TearDown() override {
        umount((folder).c_str());
        fs::remove_all(top);
        sql::session_test::TearDown();
    }
    // All names in the folder, sorted, with a space between them.
    [[nodiscard]] std::string names() const {
        std::vector<std::string> found;
        for (const auto &entry : fs::directory_iterator(folder)) {
            found.push_back(entry.path().filename());
        }
        std::ranges::sort(found);
        std::string line;
        for (const std::string &name : found) {
            line += (line.empty() ? "" : " ") + name;
        }
        return line;
    }
    static sql::handle new_document(std::string_view text) {
        return sql::call(xml_dom_new_document_clob, text).handle();
    }
    static sql::result write_doc(const sql::handle &document, std::string_view path = "out/x.xml") {
        return sql::call(xml_dom_write_to_file_doc, document, path);
    }
    static sql::result write_node(const sql::handle &node, std::string_view path = "out/x.xml") {
        return sql::call(xml_dom_write_to_file_node, node, path);
    }
    [[nodiscard]] std::string written(const char *name = "x.xml") const {
        return contents(folder + "/" + name);
    }
    std::string top;
    std::string folder;
};

// --- arguments ----------------------------------------------------------------------------------

constexpr sql::function k_writers[] = {xml_dom_write_to_file_doc, xml_dom_write_to_file_node};

TEST_F(file_writing, null_arguments) {
    const sql::handle document = new_document("<a/>");
    for (const sql::function write : k_writers) {
        EXPECT_REPORT_WITH_HINT(sql::call(write, sql::null, "out/x.xml"), reports::null_argument,
                                "1");
        EXPECT_REPORT_WITH_HINT(sql::call(write, sql::null, sql::null), reports::null_argument,
                                "1");
        EXPECT_REPORT_WITH_HINT(sql::call(write, document, sql::null), reports::null_argument, "2");
        EXPECT_REPORT_WITH_HINT(sql::call(write, document, sql::null, "UTF-8"),
                                reports::null_argument, "2");
    }
    EXPECT_EQ(names(), "");
}

TEST_F(file_writing, handles_of_a_document_writer) {
    const sql::handle document = new_document("<a b='c'><d/></a>");
    const sql::handle element = root(document);
    // The handle is tested before the path.
    EXPECT_REPORT(write_doc(element, ""), reports::not_a_document);
    EXPECT_REPORT(write_doc(sql::call(xml_dom_get_child_nodes, element).handle()),
                  reports::not_a_document);
    EXPECT_REPORT(write_doc(sql::call(xml_dom_get_attributes, root_node(document)).handle()),
                  reports::not_a_document);
    EXPECT_REPORT(sql::call(xml_dom_write_to_file_doc, sql::raw{{1, 2, 3}}, ""),
                  reports::handle_not_found);
    EXPECT_FALSE(write_doc(sql::call(xml_dom_makenode, document).handle()).failed());
    sql::call(xml_dom_free_document, document);
    EXPECT_REPORT(write_doc(document, ""), reports::handle_not_found);
}

// No function makes them; should a host bring one, it is written by its own rules.
TEST_F(file_writing, an_element_of_an_html_document) {
    xmlDocPtr html = nullptr;
    {
        const host::tree_scope scope;
        html = htmlNewDocNoDtD(nullptr, nullptr);
        xmlNodePtr const paragraph = xmlNewDocNode(html, nullptr, xml("p"), nullptr);
        xmlAddChild(reinterpret_cast<xmlNodePtr>(html), paragraph);
        xmlNewChild(paragraph, nullptr, xml("br"), nullptr);
    }
    const sql::handle document = handle_of(pkg_dbe_xml::register_document(html));
    EXPECT_FALSE(write_node(named(document, html->children)).failed());
    EXPECT_EQ(written(), "<p><br></p>");
}

TEST_F(file_writing, an_element_that_knows_no_document) {
    const sql::handle document = new_document("<a/>");
    xmlNodePtr loose = nullptr;
    {
        const host::tree_scope scope;
        loose = xmlNewNode(nullptr, xml("loose"));
        xmlNewProp(loose, xml("k"), xml("v"));
    }
    EXPECT_FALSE(write_node(named(document, loose)).failed());
    EXPECT_EQ(written(), "<loose k=\"v\"/>");
}

TEST_F(file_writing, handles_of_a_node_writer) {
    const sql::handle document = new_document("<a b='c'><d/></a>");
    const sql::handle element = root_node(document);
    const sql::handle list = sql::call(xml_dom_get_child_nodes, element).handle();
    // The size of the handle is tested before the path, everything else after it.
    EXPECT_REPORT(sql::call(xml_dom_write_to_file_node, sql::raw{{1, 2, 3}}, ""),
                  reports::handle_not_found);
    release(element);
    EXPECT_REPORT(write_node(element, ""), reports::empty_path);
    EXPECT_REPORT(write_node(element), reports::node_gone);
    EXPECT_REPORT(write_node(list), reports::inconsistent_types);
    EXPECT_REPORT(write_node(sql::call(xml_dom_get_attributes, root_node(document)).handle()),
                  reports::inconsistent_types);
    sql::handle unknown = document;
    unknown.bytes[8] ^= 0x55;
    EXPECT_REPORT(write_node(unknown, ""), reports::empty_path);
    EXPECT_REPORT(write_node(unknown), reports::handle_not_found);
    EXPECT_EQ(names(), "");
}

// --- documents ----------------------------------------------------------------------------------

TEST_F(file_writing, document_is_indented_and_declared) {
    EXPECT_TRUE(write_doc(new_document("<a><b c='d'>text</b><e/></a>")).is_null());
    EXPECT_EQ(written(), std::string(k_declaration) + "<a>\n  <b c=\"d\">text</b>\n  <e/>\n</a>\n");
    EXPECT_EQ(names(), "x.xml");
}

TEST_F(file_writing, document_with_its_doctype_and_what_stands_around_the_root) {
    const std::string text =
        "<!DOCTYPE a [\n<!ELEMENT a ANY>\n]>\n<!--before-->\n<a/>\n<?after x?>\n";
    EXPECT_FALSE(write_doc(new_document(text)).failed());
    EXPECT_EQ(written(), k_declaration + text);
}

TEST_F(file_writing, empty_document) {
    EXPECT_FALSE(write_doc(sql::call(xml_dom_new_document_empty).handle()).failed());
    EXPECT_EQ(written(), k_declaration);
}

TEST_F(file_writing, written_file_replaces_the_old_one) {
    put(folder + "/x.xml", "something much longer than what comes now, by far");
    EXPECT_FALSE(write_doc(new_document("<a/>")).failed());
    EXPECT_EQ(written(), std::string(k_declaration) + "<a/>\n");
    EXPECT_FALSE(write_doc(new_document("<b/>"), "OUT\\x.xml").failed());
    EXPECT_EQ(written(), std::string(k_declaration) + "<b/>\n");
    EXPECT_EQ(names(), "x.xml");
}

TEST_F(file_writing, large_document) {
    std::string text = "<a>";
    for (int i = 0; i < 50000; ++i) {
        text += "<b c=\"" + std::to_string(i) + "\">text</b>";
    }
    text += "</a>";
    EXPECT_FALSE(write_doc(new_document(text)).failed());
    const std::string file = written();
    EXPECT_GT(file.size(), text.size());
    EXPECT_EQ(file.substr(file.size() - 29), "  <b c=\"49999\">text</b>\n</a>\n");
}

TEST_F(file_writing, deep_document) {
    constexpr int k_levels = 100000;
    const sql::handle document = sql::call(xml_dom_new_document_empty).handle();
    xmlNodePtr node = xmlNewDocNode(document_of(document), nullptr, xml("a"), nullptr);
    xmlDocSetRootElement(document_of(document), node);
    for (int i = 1; i < k_levels; ++i) {
        node = xmlNewChild(node, nullptr, xml("a"), nullptr);
    }
    for (const sql::function write : k_writers) {
        EXPECT_FALSE(sql::call(write, document, "out/x.xml").failed());
        const std::string file = written();
        EXPECT_EQ(std::ranges::count(file, '<'), 2 * k_levels); // the innermost is one tag
        EXPECT_EQ(file.substr(file.size() - 10), "  </a>\n</a>\n"s.substr(2));
    }
}

// --- character sets -----------------------------------------------------------------------------

// The file read back in the database, which is in UTF-8.
std::string read_back(const std::string &bytes) {
    xmlDocPtr document = nullptr;
    std::string value;
    {
        const host::xml_scope scope;
        document = xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr,
                                 XML_PARSE_NONET | XML_PARSE_NOERROR);
        if (document != nullptr) {
            xmlChar *text = xmlNodeGetContent(xmlDocGetRootElement(document));
            value = reinterpret_cast<const char *>(text);
            xmlFree(text);
            xmlFreeDoc(document);
        }
    }
    return value;
}

constexpr const char *k_mixed = "\xC3\xA9 \xE6\x97\xA5\xE6\x9C\xAC \xE2\x82\xAC"; // é 日本 €

TEST_F(file_writing, character_sets_hold_or_refer) {
    const sql::handle document = new_document(std::string("<a>") + k_mixed + "</a>");
    struct {
        const char *name;
        std::string bytes;
    } const cases[] = {
        {"UTF-8", k_mixed},
        {"ISO-8859-1", "\xE9 &#26085;&#26412; &#8364;"},
        {"EUC-JP", "\x8F\xAB\xB1 \xC6\xFC\xCB\xDC &#8364;"},
        {"ASCII", "&#233; &#26085;&#26412; &#8364;"},
        {"windows-1252", "\xE9 &#26085;&#26412; \x80"},
    };
    for (const auto &character_set : cases) {
        EXPECT_FALSE(sql::call(xml_dom_write_to_file_doc, document, "out/x.xml", character_set.name)
                         .failed());
        EXPECT_EQ(written(), "<?xml version=\"1.0\" encoding=\"" + std::string(character_set.name) +
                                 "\"?>\n<a>" + character_set.bytes + "</a>\n");
        EXPECT_EQ(read_back(written()), k_mixed) << character_set.name;
        EXPECT_FALSE(
            sql::call(xml_dom_write_to_file_node, root(document), "out/y.xml", character_set.name)
                .failed());
        EXPECT_EQ(written("y.xml"), "<a>" + character_set.bytes + "</a>");
    }
}

TEST_F(file_writing, utf_16) {
    const sql::handle document = new_document(std::string("<a>") + k_mixed + "</a>");
    EXPECT_FALSE(sql::call(xml_dom_write_to_file_doc, document, "out/x.xml", "UTF-16").failed());
    EXPECT_EQ(written().substr(0, 4), std::string("\xFF\xFE<\0", 4)); // with its mark
    EXPECT_EQ(read_back(written()), k_mixed);
    EXPECT_FALSE(
        sql::call(xml_dom_write_to_file_node, root(document), "out/x.xml", "UTF-16BE").failed());
    EXPECT_EQ(written().substr(0, 6), std::string("\0<\0a\0>", 6));
}

TEST_F(file_writing, name_and_attribute_that_the_set_cannot_hold) {
    const sql::handle document = new_document("<a b='\xE2\x82\xAC'><!--\xE2\x82\xAC--></a>");
    EXPECT_FALSE(
        sql::call(xml_dom_write_to_file_doc, document, "out/x.xml", "ISO-8859-1").failed());
    EXPECT_EQ(written(), "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n"
                         "<a b=\"&#8364;\">\n  <!--&#8364;-->\n</a>\n");
}

TEST_F(file_writing, declared_encoding_of_the_document) {
    const sql::handle document =
        new_document("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xC3\xA9</a>");
    EXPECT_FALSE(write_doc(document).failed());
    EXPECT_EQ(written(), "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<a>\xE9</a>\n");
    EXPECT_FALSE(sql::call(xml_dom_write_to_file_doc, document, "out/x.xml", "UTF-8").failed());
    EXPECT_EQ(written(), std::string(k_declaration) + "<a>\xC3\xA9</a>\n");
    // A null character set is as none.
    EXPECT_FALSE(sql::call(xml_dom_write_to_file_doc, document, "out/x.xml", sql::null).failed());
    EXPECT_EQ(written(), "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<a>\xE9</a>\n");
    // Writing leaves the declaration of the document as it was.
    EXPECT_STREQ(reinterpret_cast<const char *>(document_of(document)->encoding), "ISO-8859-1");
}

TEST_F(file_writing, declared_encoding_that_nobody_knows) {
    const sql::handle document = new_document("<?xml version='1.0' encoding='x-unheard-of'?><a/>");
    put(folder + "/x.xml", "old");
    EXPECT_REPORT(write_doc(document), reports::write_failed);
    EXPECT_EQ(written(), "old");
    EXPECT_FALSE(sql::call(xml_dom_write_to_file_doc, document, "out/x.xml", "UTF-8").failed());
    // A node is written in UTF-8 whatever is declared.
    EXPECT_FALSE(write_node(document).failed());
    EXPECT_EQ(written(), std::string(k_declaration) + "<a/>\n");
}

TEST_F(file_writing, character_set_of_60_bytes) {
    const sql::handle document = new_document("<a/>");
    const std::string name(60, 'x');
    EXPECT_REPORT(sql::call(xml_dom_write_to_file_doc, document, "", name),
                  reports::unsupported_character_set); // before the path
    EXPECT_REPORT(sql::call(xml_dom_write_to_file_doc, document, "", name + "x"),
                  reports::character_set_too_long);
    // The writer of nodes knows no such limit, and looks after the path.
    EXPECT_REPORT(sql::call(xml_dom_write_to_file_node, document, "", name + "x"),
                  reports::empty_path);
    EXPECT_REPORT(sql::call(xml_dom_write_to_file_node, document, "out/x.xml", name + "x"),
                  reports::unsupported_character_set);
    EXPECT_REPORT(sql::call(xml_dom_write_to_file_doc, document, "out/x.xml", ""),
                  reports::unsupported_character_set);
}

TEST_F(file_writing, character_set_is_measured_in_the_database_encoding) {
    use_database_encoding("LATIN1");
    standalone::create_directory_object("out", folder);
    const sql::handle document = new_document("<a/>");
    // 60 bytes here, 119 in UTF-8.
    EXPECT_REPORT(
        sql::call(xml_dom_write_to_file_doc, document, "out/x.xml", "x" + std::string(59, '\xE9')),
        reports::unsupported_character_set);
}

TEST_F(file_writing, file_names_are_utf_8) {
    use_database_encoding("LATIN1");
    standalone::create_directory_object("out", folder);
    EXPECT_FALSE(write_doc(new_document("<a/>"), "out/caf\xE9.xml").failed());
    EXPECT_EQ(names(), "caf\xC3\xA9.xml");
}

// --- nodes --------------------------------------------------------------------------------------

TEST_F(file_writing, kinds_of_nodes) {
    const sql::handle document = new_document("<a b='x &amp; &lt;y'><c>t &lt; u</c></a>");
    EXPECT_FALSE(write_node(root(document)).failed());
    EXPECT_EQ(written(), "<a b=\"x &amp; &lt;y\">\n  <c>t &lt; u</c>\n</a>");
    const sql::handle text = sql::call(xml_dom_get_first_child,
                                       sql::call(xml_dom_get_first_child, root(document)).handle())
                                 .handle();
    EXPECT_FALSE(write_node(text).failed());
    EXPECT_EQ(written(), "t &lt; u");
    EXPECT_FALSE(write_node(document).failed());
    EXPECT_EQ(written().substr(0, 38), std::string(k_declaration).substr(0, 38));
    const sql::handle attribute =
        sql::call(xml_dom_get_attribute_node, root(document), "b").handle();
    EXPECT_FALSE(write_node(attribute).failed());
    EXPECT_EQ(written(), "x & <y"); // the bare value
    // An attribute does not look at the third argument.
    EXPECT_FALSE(sql::call(xml_dom_write_to_file_node, attribute, "out/x.xml", sql::null).failed());
    EXPECT_FALSE(sql::call(xml_dom_write_to_file_node, attribute, "out/x.xml", "none").failed());
    EXPECT_EQ(written(), "x & <y");
}

TEST_F(file_writing, attribute_without_a_value_leaves_the_file_empty) {
    const sql::handle document = new_document("<a b=''/>");
    put(folder + "/x.xml", "old");
    EXPECT_FALSE(
        write_node(sql::call(xml_dom_get_attribute_node, root(document), "b").handle()).failed());
    EXPECT_EQ(names(), "x.xml");
    EXPECT_EQ(written(), "");
    const sql::handle made = sql::call(xml_dom_create_attribute, document, "c").handle();
    EXPECT_FALSE(write_node(made, "out/y.xml").failed());
    EXPECT_EQ(names(), "x.xml y.xml");
}

TEST_F(file_writing, detached_nodes) {
    const sql::handle document = new_document("<a/>");
    EXPECT_FALSE(write_node(sql::call(xml_dom_create_element, document, "new").handle()).failed());
    EXPECT_EQ(written(), "<new/>");
    EXPECT_FALSE(
        write_node(sql::call(xml_dom_create_text_node, document, "a<b").handle()).failed());
    EXPECT_EQ(written(), "a&lt;b");
}

TEST_F(file_writing, other_kinds_of_nodes_leave_an_empty_file) {
    const sql::handle document =
        new_document("<!DOCTYPE a [<!ELEMENT a ANY>]><a><!--c--><?p i?><![CDATA[d]]></a>");
    for (xmlNodePtr node = xmlDocGetRootElement(document_of(document))->children; node != nullptr;
         node = node->next) {
        fs::remove(folder + "/x.xml");
        EXPECT_REPORT(write_node(named(document, node)), reports::not_for_write_to_file);
        EXPECT_EQ(names(), "x.xml");
        EXPECT_EQ(written(), "");
        EXPECT_REPORT(
            sql::call(xml_dom_write_to_file_node, named(document, node), "out/x.xml", sql::null),
            reports::not_for_write_to_file);
    }
    auto *doctype = pkg_dbe_xml::as_node(document_of(document)->intSubset->children);
    EXPECT_REPORT(write_node(named(document, doctype)), reports::not_for_write_to_file);
}

TEST_F(file_writing, null_or_unknown_character_set_of_a_node_leaves_an_empty_file) {
    const sql::handle document = new_document("<a/>");
    EXPECT_REPORT(sql::call(xml_dom_write_to_file_node, document, "out/x.xml", sql::null),
                  reports::numeric_or_value_error);
    EXPECT_EQ(written(), "");
    EXPECT_EQ(names(), "x.xml");
    EXPECT_REPORT(sql::call(xml_dom_write_to_file_node, document, "out/y.xml", "none"),
                  reports::unsupported_character_set);
    EXPECT_EQ(names(), "x.xml y.xml");
    // A file that was there before keeps what it holds.
    put(folder + "/x.xml", "old");
    EXPECT_TRUE(sql::call(xml_dom_write_to_file_node, document, "out/x.xml", "none").failed());
    EXPECT_TRUE(sql::call(xml_dom_write_to_file_node, document, "out/x.xml", sql::null).failed());
    EXPECT_EQ(written(), "old");
}

// --- the file system as an adversary ------------------------------------------------------------

// Both writers; the reports of the two differ when the file cannot be opened.
class hostile_files : public file_writing {
  protected:
    void SetUp() override {
        file_writing::SetUp();
        document = new_document("<a>" + std::string(200000, 'x') + "</a>");
    }
    // The file cannot be opened, with that SQLSTATE of the operating system's reason.
    void expect_not_opened(const char *sqlstate, std::string_view path = "out/x.xml") const {
        EXPECT_REPORT(write_doc(document, path), reports::write_failed);
        const sql::result outcome = write_node(document, path);
        EXPECT_REPORT(outcome, reports::file_not_opened, resolved(path));
        EXPECT_EQ(outcome.error().sqlstate, sqlstate);
    }
    void expect_write_failed(const char *words) const {
        for (const sql::function write : k_writers) {
            const sql::result outcome = sql::call(write, document, "out/x.xml");
            EXPECT_REPORT(outcome, reports::write_failed);
            EXPECT_EQ(outcome.error().context, "file \"" + folder + "/x.xml\": " + words);
        }
    }
    [[nodiscard]] std::string resolved(std::string_view path) const {
        return folder + std::string(path.substr(path.find('/')));
    }
    sql::handle document;
};

TEST_F(hostile_files, link_in_place_of_the_file) {
    put(top + "/target.xml", "precious");
    fs::create_symlink(top + "/target.xml", folder + "/x.xml");
    expect_not_opened("XX000"); // too many levels of links
    EXPECT_EQ(contents(top + "/target.xml"), "precious");
    fs::remove(top + "/target.xml"); // a link that leads nowhere makes nothing there
    expect_not_opened("XX000");
    EXPECT_FALSE(fs::exists(top + "/target.xml"));
    EXPECT_EQ(names(), "x.xml");
}

TEST_F(hostile_files, link_in_place_of_the_directory) {
    fs::create_directory(top + "/elsewhere");
    fs::remove(folder);
    fs::create_directory_symlink(top + "/elsewhere", folder);
    expect_not_opened("42809"); // not a directory
    EXPECT_TRUE(fs::is_empty(top + "/elsewhere"));
    fs::remove(folder);
    fs::create_directory(folder);
}

TEST_F(hostile_files, directory_that_is_missing_or_none) {
    standalone::create_directory_object("missing", top + "/missing");
    EXPECT_REPORT(write_doc(document, "missing/x.xml"), reports::write_failed);
    sql::result outcome = write_node(document, "missing/x.xml");
    EXPECT_REPORT(outcome, reports::file_not_opened, top + "/missing/x.xml");
    EXPECT_EQ(outcome.error().sqlstate, "58P01");
    put(top + "/file", "");
    standalone::create_directory_object("file", top + "/file");
    outcome = write_node(document, "file/x.xml");
    EXPECT_REPORT(outcome, reports::file_not_opened, top + "/file/x.xml");
    EXPECT_EQ(outcome.error().sqlstate, "42809");
}

TEST_F(hostile_files, directory_in_place_of_the_file) {
    fs::create_directory(folder + "/x.xml");
    expect_not_opened("42809");
    EXPECT_TRUE(fs::is_directory(folder + "/x.xml"));
}

TEST_F(hostile_files, pipe_in_place_of_the_file) {
    ASSERT_EQ(mkfifo((folder + "/x.xml").c_str(), 0666), 0);
    expect_not_opened("42501"); // at once, without waiting for a reader
    const int reader = open((folder + "/x.xml").c_str(), O_RDONLY | O_NONBLOCK);
    expect_not_opened("42501");
    char byte = 0;
    EXPECT_LE(read(reader, &byte, 1), 0); // nothing was sent
    close(reader);
}

TEST_F(hostile_files, device_in_place_of_the_file) {
    // The device of which every write fails, and a path that leads to it.
    fs::create_symlink("/dev/full", folder + "/x.xml");
    expect_not_opened("XX000");
    fs::remove(folder + "/x.xml");
    if (mknod((folder + "/x.xml").c_str(), S_IFCHR | 0666, makedev(1, 7)) == 0) {
        expect_not_opened("42501");
    }
}

TEST_F(hostile_files, names_that_libxml2_would_unescape) {
    fs::create_directory(top + "/other");
    for (const char *name : {"..%2fother%2fx.xml", "x%00.xml", "%2e%2e.xml", "x%.xml", "~.xml",
                             "*.xml", "-.xml", "$(x).xml", " .xml", "file:x.xml"}) {
        EXPECT_FALSE(write_doc(document, "out/" + std::string(name)).failed()) << name;
        EXPECT_TRUE(fs::is_regular_file(folder + "/" + name)) << name;
    }
    EXPECT_TRUE(fs::is_empty(top + "/other"));
}

TEST_F(hostile_files, own_directories_are_never_written_into) {
    standalone::files().own_directories = {folder};
    expect_not_opened("42501");
    fs::create_directory(folder + "/sub");
    standalone::create_directory_object("sub", folder + "/sub");
    EXPECT_REPORT(write_doc(document, "sub/x.xml"), reports::write_failed);
    // By another road.
    fs::create_directory_symlink(folder, top + "/link");
    standalone::create_directory_object("link", top + "/link/sub");
    EXPECT_REPORT(write_doc(document, "link/x.xml"), reports::write_failed);
    EXPECT_EQ(names(), "sub");
    standalone::files().own_directories = {top + "/elsewhere", folder + "/sub"};
    EXPECT_FALSE(write_doc(document).failed());
}

// Does `change` at a step of the next writing.
void at_step(host::file_step step, std::function<void()> change) {
    standalone::files().watcher = [step, change = std::move(change),
                                   done = false](host::file_step now) mutable {
        if (!done && now == step) {
            done = true;
            change();
        }
        return 0;
    };
}

TEST_F(hostile_files, directory_swapped_before_it_is_opened) {
    fs::create_directory(top + "/elsewhere");
    standalone::files().safe_data_path = folder;
    // Checked as the good one, opened as a link.
    at_step(host::file_step::open_directory, [this] {
        fs::rename(folder, top + "/moved");
        fs::create_directory_symlink(top + "/elsewhere", folder);
    });
    EXPECT_TRUE(write_doc(document).failed());
    EXPECT_TRUE(fs::is_empty(top + "/elsewhere"));
    EXPECT_TRUE(fs::is_empty(top + "/moved"));
    fs::remove(folder);
    fs::create_directory(folder);
}

TEST_F(hostile_files, part_of_the_path_swapped_before_it_is_opened) {
    // The safe path is asked of what was opened, not of the text of the path.
    fs::create_directories(top + "/safe/in");
    fs::create_directories(top + "/elsewhere/in");
    standalone::create_directory_object("in", top + "/way/in");
    fs::create_directory_symlink(top + "/safe", top + "/way");
    standalone::files().safe_data_path = top + "/safe";
    EXPECT_FALSE(write_doc(document, "in/x.xml").failed());
    at_step(host::file_step::open_directory, [this] {
        fs::remove(top + "/way");
        fs::create_directory_symlink(top + "/elsewhere", top + "/way");
    });
    EXPECT_REPORT(write_doc(document, "in/y.xml"), reports::write_failed);
    EXPECT_TRUE(fs::is_empty(top + "/elsewhere/in"));
    EXPECT_FALSE(fs::exists(top + "/safe/in/y.xml"));
}

TEST_F(hostile_files, directory_swapped_after_it_was_opened) {
    fs::create_directory(top + "/elsewhere");
    at_step(host::file_step::create, [this] {
        fs::rename(folder, top + "/moved");
        fs::create_directory_symlink(top + "/elsewhere", folder);
    });
    EXPECT_FALSE(write_doc(document).failed());
    EXPECT_TRUE(fs::exists(top + "/moved/x.xml")); // in the directory that was checked
    EXPECT_TRUE(fs::is_empty(top + "/elsewhere"));
    fs::remove(folder);
    fs::rename(top + "/moved", folder);
}

TEST_F(hostile_files, link_put_in_place_of_the_file_after_the_test) {
    put(top + "/target.xml", "precious");
    for (const auto step : {host::file_step::open_existing, host::file_step::create,
                            host::file_step::write, host::file_step::rename}) {
        fs::remove(folder + "/x.xml");
        put(folder + "/x.xml", "old");
        at_step(step, [this] {
            fs::remove(folder + "/x.xml");
            fs::create_symlink(top + "/target.xml", folder + "/x.xml");
        });
        write_doc(document); // refused, or in place of the link
        EXPECT_EQ(contents(top + "/target.xml"), "precious");
        EXPECT_EQ(names(), "x.xml");
    }
}

TEST_F(hostile_files, link_made_of_the_file_before_the_name_is_tested) {
    // Resolved, the name is innocent; written is the name as given.
    put(folder + "/good.xml", "good");
    fs::create_symlink(folder + "/good.xml", folder + "/openssl.cnf.xml");
    EXPECT_REPORT(write_doc(document, "out/openssl.cnf.xml"), reports::protected_file_name);
    EXPECT_EQ(written("good.xml"), "good");
}

TEST_F(hostile_files, hard_link_to_a_file_elsewhere) {
    put(top + "/target.xml", "precious");
    fs::create_hard_link(top + "/target.xml", folder + "/x.xml");
    EXPECT_FALSE(write_doc(document).failed());
    EXPECT_EQ(contents(top + "/target.xml"), "precious");
    EXPECT_GT(written().size(), 200000U);
}

TEST_F(hostile_files, each_step_that_fails_leaves_the_old_file) {
    for (const bool with_old : {true, false}) {
        for (int step = 0; step <= static_cast<int>(host::file_step::rename); ++step) {
            if (with_old) {
                put(folder + "/x.xml", "old");
            }
            standalone::files().watcher = [step](host::file_step now) {
                return static_cast<int>(now) == step ? ENOSPC : 0;
            };
            const bool opens = step > static_cast<int>(host::file_step::create);
            for (const sql::function write : k_writers) {
                const sql::result outcome = sql::call(write, document, "out/x.xml");
                if (step == static_cast<int>(host::file_step::open_existing) && !with_old) {
                    EXPECT_FALSE(outcome.failed()); // there is nothing to open
                    fs::remove(folder + "/x.xml");
                } else if (write == xml_dom_write_to_file_node && !opens) {
                    EXPECT_REPORT(outcome, reports::file_not_opened, folder + "/x.xml");
                    EXPECT_EQ(outcome.error().sqlstate, "53100");
                    EXPECT_EQ(outcome.error().context,
                              "file \"" + folder + "/x.xml\": No space left on device");
                } else {
                    EXPECT_REPORT(outcome, reports::write_failed);
                    EXPECT_EQ(outcome.error().context,
                              "file \"" + folder + "/x.xml\": No space left on device");
                }
                EXPECT_EQ(names(), with_old ? "x.xml" : "");
                EXPECT_EQ(written(), with_old ? "old" : "");
            }
            fs::remove(folder + "/x.xml");
        }
    }
}

TEST_F(hostile_files, every_write_is_checked) {
    put(folder + "/x.xml", "old");
    for (const sql::function write : k_writers) {
        int failures = 0;
        for (int at = 1; at < 1000; ++at) {
            standalone::fail_call(standalone::service::file, at);
            const sql::result outcome = sql::call(write, document, "out/x.xml");
            if (standalone::faults_of(standalone::service::file) == 0) {
                EXPECT_FALSE(outcome.failed());
                break;
            }
            EXPECT_TRUE(outcome.failed()) << at;
            EXPECT_EQ(written(), "old") << at;
            EXPECT_EQ(names(), "x.xml") << at;
            ++failures;
        }
        EXPECT_GT(failures, 8);
        put(folder + "/x.xml", "old");
    }
}

TEST_F(hostile_files, limit_on_the_size_of_files) {
    put(folder + "/x.xml", "old");
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{100000, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    expect_write_failed("File too large");
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(written(), "old");
    EXPECT_EQ(names(), "x.xml");
}

TEST_F(hostile_files, full_disk) {
    // Without the right to mount the disk is said to be full, from the second write on.
    const bool mounted = mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=64k") == 0;
    put(folder + "/x.xml", "old");
    standalone::files().watcher = [mounted, writes = 0](host::file_step now) mutable {
        return !mounted && now == host::file_step::write && ++writes % 2 == 0 ? ENOSPC : 0;
    };
    expect_write_failed("No space left on device");
    EXPECT_EQ(written(), "old");
    EXPECT_EQ(names(), "x.xml");
}

TEST_F(hostile_files, directory_mounted_for_reading) {
    // Without the right to mount the steps that would meet it are said to.
    const bool mounted = mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=1m") == 0;
    put(folder + "/x.xml", "old");
    if (mounted) {
        ASSERT_EQ(mount("tmpfs", folder.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "size=1m"), 0);
    }
    standalone::files().watcher = [mounted](host::file_step now) {
        const bool meets_it =
            now == host::file_step::open_existing || now == host::file_step::create;
        return !mounted && meets_it ? EROFS : 0;
    };
    expect_not_opened("42501");
    expect_not_opened("42501", "out/new.xml");
    EXPECT_EQ(written(), "old");
}

// Runs `check` in a process of an unprivileged user; root may write everywhere.
void as_nobody(const std::function<void()> &check) {
    const pid_t child = fork();
    if (child == 0) {
        const passwd *nobody = getpwnam("nobody");
        if (geteuid() == 0 && (setgid(nobody->pw_gid) != 0 || setuid(nobody->pw_uid) != 0)) {
            _exit(2);
        }
        check();
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST_F(hostile_files, directory_without_the_right_to_write) {
    put(folder + "/x.xml", "old");
    chmod(top.c_str(), 0755);
    chmod(folder.c_str(), 0555);
    chmod((folder + "/x.xml").c_str(), 0666);
    as_nobody([this] {
        expect_not_opened("42501");
        expect_not_opened("42501", "out/new.xml");
    });
    EXPECT_EQ(written(), "old");
    EXPECT_EQ(names(), "x.xml");
}

TEST_F(hostile_files, file_without_the_right_to_write) {
    // A file that others protected is not replaced, though the directory would allow it.
    put(folder + "/x.xml", "old");
    chmod(top.c_str(), 0755);
    chmod(folder.c_str(), 0777);
    chmod((folder + "/x.xml").c_str(), 0444);
    as_nobody([this] { expect_not_opened("42501"); });
    EXPECT_EQ(written(), "old");
}

TEST_F(hostile_files, rights_of_the_file) {
    const mode_t mask = umask(027);
    EXPECT_FALSE(write_doc(document).failed());
    struct stat status {};
    stat((folder + "/x.xml").c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0640U); // of a new file, as of any
    chmod((folder + "/x.xml").c_str(), 0604);
    EXPECT_FALSE(write_doc(document).failed());
    stat((folder + "/x.xml").c_str(), &status);
    EXPECT_EQ(status.st_mode & 07777, 0604U); // of an old one, those it had
    umask(mask);
}

TEST_F(hostile_files, passing_name_left_by_another_process) {
    // Names already there are passed over.
    const std::string start = folder + "/.pkg_dbe_xml." + std::to_string(getpid()) + ".";
    for (int i = 0; i < 300; ++i) {
        put(start + std::to_string(i) + ".tmp", "left");
    }
    EXPECT_FALSE(write_doc(document).failed());
    EXPECT_GT(written().size(), 200000U);
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(contents(start + std::to_string(i) + ".tmp"), "left");
    }
}

TEST_F(hostile_files, cancelled_statement_leaves_the_old_file) {
    put(folder + "/x.xml", "old");
    for (const sql::function write : k_writers) {
        int cancels = 0;
        for (int polls = 1; polls < 1000; ++polls) {
            standalone::cancel_after_polls(polls);
            const sql::result outcome = sql::call(write, document, "out/x.xml");
            standalone::forget_cancel();
            if (!outcome.failed()) {
                break;
            }
            EXPECT_EQ(outcome.error().sqlstate, "57014");
            EXPECT_EQ(written(), "old");
            EXPECT_EQ(names(), "x.xml");
            ++cancels;
        }
        EXPECT_GT(cancels, 2);
        put(folder + "/x.xml", "old");
    }
}

TEST_F(hostile_files, memory_fails_while_a_file_is_written) {
    const sql::handle attribute =
        sql::call(xml_dom_get_attribute_node, root(new_document("<a b='c'/>")), "b").handle();
    const sql::handle small = new_document("<a><b>text</b></a>");
    put(folder + "/x.xml", "old");
    for (const auto which :
         {standalone::service::allocation, standalone::service::libxml2_allocation}) {
        const std::pair<sql::function, sql::handle> calls[] = {
            {xml_dom_write_to_file_doc, small},
            {xml_dom_write_to_file_node, small},
            {xml_dom_write_to_file_node, attribute}};
        for (const auto &[write, node] : calls) {
            for (const char *character_set : {"UTF-8", "UTF-16", "EUC-JP"}) {
                int at = 1;
                for (; at < 1000; ++at) {
                    standalone::fail_call(which, at);
                    const sql::result outcome = sql::call(write, node, "out/x.xml", character_set);
                    const bool injected = standalone::faults_of(which) != 0;
                    standalone::clear_faults();
                    if (!injected) {
                        EXPECT_FALSE(outcome.failed());
                        break;
                    }
                    EXPECT_TRUE(outcome.failed()) << at;
                    EXPECT_EQ(written(), "old") << at;
                    EXPECT_EQ(names(), "x.xml") << at;
                }
                EXPECT_LT(at, 1000);
                put(folder + "/x.xml", "old");
            }
        }
    }
}

TEST_F(hostile_files, session_that_ends_without_unwinding_takes_its_passing_file_along) {
    host::output_file *file = host::open_output_file((folder + "/x.xml").c_str());
    ASSERT_NE(file, nullptr);
    EXPECT_NE(names(), "");
    host::discard_open_files();
    EXPECT_EQ(names(), "");
}

TEST_F(hostile_files, no_descriptor_is_left) {
    const auto count = [] {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    };
    const auto before = count();
    write_doc(document);
    write_node(document);
    sql::call(xml_dom_write_to_file_node, document, "out/y.xml", "none");
    fs::create_directory(folder + "/z.xml");
    write_doc(document, "out/z.xml");
    standalone::fail_call(standalone::service::file, 7);
    write_doc(document);
    EXPECT_EQ(count(), before);
}

} // namespace
