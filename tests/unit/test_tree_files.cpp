// Trees in files against libxml2: the same bytes in every encoding, and the same outcome where an
// encoding cannot take them; how soon writing them stops.
#include "standalone_files.hpp"
#include "standalone_session.hpp"
#include "trees.hpp"
#include "written_trees.hpp"

#include "files/tree_files.hpp"
#include "libxml/library_version.hpp"
#include "text/encoding_handler.hpp"
#include "write/tree_writer.hpp"

#include <libxml/xmlsave.h>

#include <cerrno>
#include <cstdlib>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
namespace standalone = host::standalone;
using written_trees::k_documents;
using written_trees::k_option_sets;
using written_trees::xml_doc_ptr;

// "UTF8" is converted by another library than "UTF-8"; "HTML" refuses much.
constexpr const char *k_encodings[] = {
    "UTF-8",        "utf-8", "UTF8",        "ISO-8859-1", "ISO-8859-15", "windows-1252",
    "windows-1251", "ASCII", "UTF-16",      "UTF-16BE",   "UCS-4",       "EUC-JP",
    "SHIFT_JIS",    "UTF-7", "ISO-2022-JP", "GB18030",    "IBM037",      "HTML"};

// What was written and whether that is the whole.
struct outcome {
    std::string bytes;
    bool done = false;
    bool operator==(const outcome &) const = default;
};
void PrintTo(const outcome &told, std::ostream *out) {
    *out << (told.done ? "done: " : "failed: ") << told.bytes;
}

extern "C" int collect(void *text, const char *bytes, int size) {
    static_cast<std::string *>(text)->append(bytes, static_cast<std::size_t>(size));
    return size;
}

// What libxml2 writes; `write` closes the buffer.
template <class Write> outcome by_libxml2(const char *encoding, Write write) {
    const host::xml_scope scope;
    outcome made;
    auto handler = encoding != nullptr ? pkg_dbe_xml::find_encoding_handler(encoding) : nullptr;
    EXPECT_TRUE(encoding == nullptr || handler != nullptr) << encoding;
    made.done =
        write(pkg_dbe_xml::make_output_buffer(collect, &made.bytes, std::move(handler))) >= 0;
    if (!made.done) {
        made.bytes.clear(); // nobody will see it
    }
    return made;
}

outcome document_by_libxml2(xmlDocPtr document, const char *encoding) {
    return by_libxml2(encoding, [&](xmlOutputBufferPtr buffer) {
        return xmlSaveFormatFileTo(buffer, document, encoding, 1);
    });
}

outcome node_by_libxml2(xmlNodePtr node, const char *encoding) {
    return by_libxml2(encoding, [&](xmlOutputBufferPtr buffer) {
        xmlNodeDumpOutput(buffer, node->doc, node, 0, 1, encoding);
        return xmlOutputBufferClose(buffer);
    });
}

class tree_files : public sql::session_test {
  protected:
    void SetUp() override {
        sql::session_test::SetUp();
        char name[] = "/tmp/pkg_dbe_xml_trees_XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        folder_ = name;
    }
    void TearDown() override {
        fs::remove_all(folder_);
        sql::session_test::TearDown();
    }
    [[nodiscard]] std::string path() const { return folder_ + "/x.xml"; }

    // The bytes in a file that is still being written.
    outcome taken(const pkg_dbe_xml::file_ptr &file, bool done) const {
        outcome made{"", done};
        if (file != nullptr && done) {
            for (const auto &entry : fs::directory_iterator(folder_)) {
                made.bytes = written_trees::read_file(entry.path());
            }
        }
        return made;
    }
    outcome document_by_us(xmlDocPtr document, const char *encoding) const {
        pkg_dbe_xml::file_ptr file;
        const auto told = pkg_dbe_xml::dump_document(path().c_str(), document, encoding, file);
        EXPECT_FALSE(told.out_of_memory);
        EXPECT_NE(file, nullptr);
        return taken(file, told.done);
    }
    outcome node_by_us(xmlNodePtr node, const char *encoding) const {
        const host::xml_scope scope;
        auto handler = encoding != nullptr ? pkg_dbe_xml::find_encoding_handler(encoding) : nullptr;
        pkg_dbe_xml::file_ptr file(host::open_output_file(path().c_str()));
        EXPECT_NE(file, nullptr);
        const auto told =
            pkg_dbe_xml::xml_elem_dump(file.get(), node->doc, node, encoding, handler.release());
        return taken(file, told.done);
    }
    void expect_same(xmlDocPtr document, const std::string &name) const {
        for (const char *const encoding : k_encodings) {
            if (pkg_dbe_xml::find_encoding_handler(encoding) == nullptr) {
                EXPECT_STREQ(encoding, "HTML") << "which 2.15 has no more";
                continue;
            }
            EXPECT_EQ(document_by_us(document, encoding), document_by_libxml2(document, encoding))
                << name << " in " << encoding;
            expect_same_node(pkg_dbe_xml::as_node(document), encoding, name);
            if (xmlNodePtr const root = xmlDocGetRootElement(document)) {
                expect_same_node(root, encoding, name);
            }
        }
        expect_same_node(xmlDocGetRootElement(document), nullptr, name);
        expect_same_node(pkg_dbe_xml::as_node(document), nullptr, name);
    }
    void expect_same_node(xmlNodePtr node, const char *encoding, const std::string &name) const {
        EXPECT_EQ(node_by_us(node, encoding), node_by_libxml2(node, encoding))
            << name << ", node in " << (encoding == nullptr ? "none" : encoding);
    }
    std::string folder_;
};

TEST_F(tree_files, documents_by_hand) {
    for (const char *const text : k_documents) {
        for (const int options : {k_option_sets[0], k_option_sets[2]}) {
            const xml_doc_ptr document = written_trees::parse(text, options);
            ASSERT_NE(document, nullptr) << text;
            expect_same(document.get(), text);
        }
    }
}

// Texts around the sizes in which they are handed on, with characters that end there, and ones that
// the encodings lack.
TEST_F(tree_files, long_texts_and_attributes) {
    for (const std::string_view piece : {"x", "\xC3\xA4", "\xE2\x82\xAC", "\xE6\x97\xA5\xC3\xA9",
                                         "\xF0\x9D\x84\x9E&lt;", "a\xD0\x96"}) {
        for (const std::size_t size : {32760U, 70001U}) {
            std::string text;
            while (text.size() < size) {
                text += piece;
            }
            const xml_doc_ptr document = written_trees::parse(
                "<a b='" + text + "'>" + text + "<!--" + text + "--></a>", XML_PARSE_HUGE);
            ASSERT_NE(document, nullptr);
            const std::string name = std::string(piece) + std::to_string(size);
            for (const char *const encoding :
                 {"UTF-8", "UTF8", "ISO-8859-1", "UTF-16", "GB18030"}) {
                expect_same_node(xmlDocGetRootElement(document.get()), encoding, name);
                EXPECT_EQ(document_by_us(document.get(), encoding),
                          document_by_libxml2(document.get(), encoding))
                    << name << " in " << encoding;
            }
        }
    }
}

TEST_F(tree_files, random_trees) {
    std::size_t refused = 0;
    for (unsigned seed = 1; seed <= 150 && !HasFailure(); ++seed) {
        const written_trees::random_tree tree(seed);
        expect_same(tree.document(), "seed " + std::to_string(seed));
        refused += document_by_us(tree.document(), "UTF8").done ? 0 : 1;
        standalone::reset_caller_context();
    }
    if (host::libxml2_number() < 21300) { // later it is converted as "UTF-8" is: not at all
        EXPECT_GT(refused, 0U) << "some hold bytes that are no UTF-8";
    }
    EXPECT_LT(refused, 150U);
}

TEST_F(tree_files, documents_of_this_machine) {
    std::size_t compared = 0;
    const std::vector<fs::path> found = written_trees::find_documents();
    for (std::size_t i = 0; i < found.size() && !HasFailure(); i += found.size() / 150 + 1) {
        const xml_doc_ptr document = written_trees::parse(written_trees::read_file(found[i]), 0);
        if (document == nullptr) {
            continue; // no document
        }
        expect_same(document.get(), found[i].string());
        ++compared;
    }
    std::printf("%zu documents compared\n", compared);
    EXPECT_GT(compared, 0U) << "no documents below /usr/share: is shared-mime-info installed?";
}

// What is found in the middle not to be for our writer is written once, by libxml2.
TEST_F(tree_files, trees_that_are_left_to_libxml2) {
    std::string text = "<!DOCTYPE html SYSTEM 'http://www.w3.org/TR/xhtml1/DTD/"
                       "xhtml1-transitional.dtd'><html><br/><p></p></html>";
    expect_same(written_trees::parse(text, 0).get(), "XHTML");
    text = "<a>" + std::string(100000, 'x') + "<b/><c/></a>";
    const xml_doc_ptr document = written_trees::parse(text, 0);
    xmlNodePtr const odd = xmlDocGetRootElement(document.get())->last->prev;
    odd->type = XML_XINCLUDE_START;
    pkg_dbe_xml::text_output output(INT32_MAX);
    EXPECT_FALSE(pkg_dbe_xml::write_document_directly(document.get(), output));
    EXPECT_GT(output.size(), 100000);
    expect_same(document.get(), "an unknown node");
    // Whatever fails, in the first writing, in emptying the file, in the second.
    int failures = 0;
    for (bool done = false; !done; ++failures) {
        int writes = 0;
        standalone::files().watcher = [&writes, failures](host::file_step step) {
            return step == host::file_step::write && writes++ == failures ? ENOSPC : 0;
        };
        pkg_dbe_xml::file_ptr file;
        const auto told = pkg_dbe_xml::dump_document(path().c_str(), document.get(), "UTF-8", file);
        done = writes <= failures;
        EXPECT_EQ(told.done, done) << failures;
        EXPECT_EQ(told.reason, done ? 0 : ENOSPC) << failures;
        EXPECT_TRUE(done || writes == failures + 1) << "nothing is written after a failure";
    }
    EXPECT_GT(failures, 20);
    odd->type = XML_ELEMENT_NODE;
}

// --- stopping -----------------------------------------------------------------------------------

class stopped_files : public tree_files {
  protected:
    void SetUp() override {
        tree_files::SetUp();
        standalone::create_directory_object("out", folder_);
        std::string value;
        for (int i = 0; i < k_megabytes * 1024 * 1024 / 2; ++i) {
            value += "\xC3\xA4";
        }
        document_ = sql::call(xml_dom_new_document_clob, "<a b='" + value + "'/>").handle();
    }
    static constexpr int k_megabytes = 4;
    sql::handle document_;
};

TEST_F(stopped_files, one_long_attribute) {
    for (const char *const encoding : {"UTF-8", "ISO-8859-1", "UTF-16"}) {
        for (const sql::function write : {xml_dom_write_to_file_doc, xml_dom_write_to_file_node}) {
            const std::int64_t before = standalone::poll_count();
            EXPECT_FALSE(sql::call(write, document_, "out/x.xml", encoding).failed()) << encoding;
            const std::int64_t looks = standalone::poll_count() - before;
            EXPECT_GE(looks, 16 * k_megabytes) << encoding;
            const std::string whole = written_trees::read_file(path());
            for (const std::int64_t at : {std::int64_t{1}, looks / 2, looks}) {
                standalone::cancel_after_polls(at);
                const sql::result stopped = sql::call(write, document_, "out/x.xml", encoding);
                standalone::forget_cancel();
                EXPECT_TRUE(stopped.failed());
                EXPECT_EQ(stopped.error().sqlstate, "57014") << at;
                EXPECT_EQ(written_trees::read_file(path()), whole) << "the old file stays";
                EXPECT_EQ(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()),
                          1);
            }
        }
    }
}

} // namespace
