// Documents from files through the library and back: parsed, written, parsed again.
//
//   round_trip FILE-OR-FOLDER...
//
// For each file that libxml2 itself parses under the same options: the library parses it too, its
// canonical form is that of libxml2's document, what the library writes is what libxml2 writes, and
// parsed again it gives the canonical form that libxml2 gives. Prints each file that differs, each
// whose canonical form is another one after the way, and the totals; the exit status is 0 when
// files were compared and none differs.
#include "trees.hpp"
#include "xml_owner.hpp"

#include "standalone_session.hpp"

#include <libxml/c14n.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace {

using pkg_dbe_xml::xml_doc_ptr;
using pkg_dbe_xml::xml_text_ptr;

constexpr std::array<std::string_view, 12> k_extensions{".xml",     ".svg",  ".xsl",    ".xslt",
                                                        ".rng",     ".xsd",  ".ui",     ".page",
                                                        ".docbook", ".conf", ".policy", ".its"};
// Those of the documents that the library makes from text.
constexpr int k_parse_options =
    XML_PARSE_NOENT | XML_PARSE_DTDVALID | XML_PARSE_NOBLANKS | XML_PARSE_NONET | XML_PARSE_HUGE;

struct totals {
    std::size_t files = 0;
    std::size_t passed = 0;
    std::size_t differing = 0;
    std::size_t not_read = 0;     // not in UTF-8, or no whole document for libxml2
    std::size_t no_canonical = 0; // of those passed: libxml2 gives no canonical form
    // Of those passed: blanks between texts and elements, which indenting adds or the parser drops,
    // count in the canonical form.
    std::size_t changed = 0;
    std::uintmax_t bytes = 0;
};

std::string read_file(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::filesystem::path> find_files(const std::filesystem::path &top) {
    namespace files = std::filesystem;
    std::error_code error;
    if (!files::is_directory(top, error)) {
        return {top};
    }
    std::vector<files::path> found;
    for (auto file = files::recursive_directory_iterator(
             top, files::directory_options::skip_permission_denied, error);
         !error && file != files::recursive_directory_iterator(); file.increment(error)) {
        const std::string extension = file->path().extension().string();
        std::error_code status;
        if (std::find(k_extensions.begin(), k_extensions.end(), extension) != k_extensions.end() &&
            file->is_regular_file(status)) {
            found.push_back(file->path());
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

// Like the library, the other side loads nothing.
xmlParserInputPtr load_nothing(const char * /*url*/, const char * /*id*/,
                               xmlParserCtxtPtr /*context*/) {
    return nullptr;
}

xml_doc_ptr parsed_by_libxml2(const std::string &text, int options = k_parse_options) {
    const xmlExternalEntityLoader loader = xmlGetExternalEntityLoader();
    xmlSetExternalEntityLoader(load_nothing);
    xml_doc_ptr document(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, "UTF-8",
                      options | XML_PARSE_IGNORE_ENC | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
    xmlSetExternalEntityLoader(loader);
    return document;
}

bool is_unknown_reference(const xmlNode *node) {
    return node->type == XML_ENTITY_REF_NODE && xmlGetDocEntity(node->doc, node->name) == nullptr;
}

bool has_unknown_reference(const xmlNode *element) {
    for (const xmlAttr *attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        for (const xmlNode *part = attribute->children; part != nullptr; part = part->next) {
            if (is_unknown_reference(part)) {
                return true;
            }
        }
    }
    return false;
}

// Whether a reference names an entity that only a file could declare. From 2.13 on libxml2 leaves
// such references out of the tree, where the library keeps them; before, it refuses the text.
bool has_unknown_reference(const std::string &text) {
    const xml_doc_ptr document = parsed_by_libxml2(text, k_parse_options & ~XML_PARSE_NOENT);
    const xmlNode *node = document == nullptr ? nullptr : xmlDocGetRootElement(document.get());
    while (node != nullptr) {
        if (is_unknown_reference(node) ||
            (node->type == XML_ELEMENT_NODE && has_unknown_reference(node))) {
            return true;
        }
        if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
            node = node->children;
            continue;
        }
        while (node->next == nullptr && node->parent != nullptr) {
            node = node->parent;
        }
        node = node->next;
    }
    return false;
}

std::string written_by_libxml2(xmlDocPtr document) {
    xmlChar *text = nullptr;
    int size = 0;
    xmlDocDumpFormatMemoryEnc(document, &text, &size, "UTF-8", 1);
    const xml_text_ptr owner(text);
    return {reinterpret_cast<const char *>(text), static_cast<std::size_t>(size)};
}

// "" when there is none: of references that cannot be replaced, and of relative namespace names.
std::string canonical(xmlDocPtr document) {
    xmlChar *text = nullptr;
    const int size = xmlC14NDocDumpMemory(document, nullptr, XML_C14N_1_0, nullptr, 1, &text);
    const xml_text_ptr owner(text);
    return size <= 0
               ? std::string()
               : std::string(reinterpret_cast<const char *>(text), static_cast<std::size_t>(size));
}

// The canonical form of a document of the library.
std::string canonical(const sql::result &document) {
    const host::xml_scope scope;
    return canonical(trees::document_of(document.handle()));
}

// What libxml2 gives for a file.
struct expectation {
    const std::string &form;       // the canonical one
    const std::string &text;       // written
    const std::string &form_again; // of the text, parsed again
};

// Takes a file through the library. Returns what differs from what libxml2 gives, "" when nothing
// does.
std::string compare(const std::string &text, const expectation &expected) {
    const sql::result first = sql::call(xml_dom_new_document_clob, text);
    if (first.failed()) {
        return "refused: " + first.error().message + "; " + first.error().context;
    }
    if (canonical(first) != expected.form) {
        return "the canonical form is not that of libxml2";
    }
    const sql::result written = sql::call(xml_dom_write_to_clob_doc, first.handle());
    if (written.failed()) {
        return "not written: " + written.error().message;
    }
    if (written.text() != expected.text) {
        return "the text written is not that of libxml2";
    }
    const sql::result again = sql::call(xml_dom_new_document_clob, written.text());
    if (again.failed()) {
        return "refused the second time: " + again.error().message + "; " + again.error().context;
    }
    if (canonical(again) != expected.form_again) {
        return "the canonical form of what was written is not that of libxml2";
    }
    return "";
}

void take(const std::filesystem::path &path, totals &sums) {
    const std::string text = read_file(path);
    ++sums.files;
    if (text.empty() || xmlCheckUTF8(reinterpret_cast<const xmlChar *>(text.c_str())) == 0) {
        ++sums.not_read;
        return;
    }
    xml_doc_ptr expected = parsed_by_libxml2(text);
    if (expected == nullptr || has_unknown_reference(text)) {
        ++sums.not_read;
        return;
    }
    const std::string expected_form = canonical(expected.get());
    const std::string expected_text = written_by_libxml2(expected.get());
    expected = parsed_by_libxml2(expected_text);
    const std::string expected_again = expected == nullptr ? "" : canonical(expected.get());
    expected.reset();
    // The message of an error is libxml2's memory, too.
    xmlResetLastError();
    host::standalone::begin_session("UTF8");
    std::string wrong = compare(text, {expected_form, expected_text, expected_again});
    const host::standalone::session_remains remains = host::standalone::end_session();
    if (!remains.nothing() && wrong.empty()) {
        wrong = "the session left " + std::to_string(remains.host_blocks) + " blocks and " +
                std::to_string(remains.libxml2_bytes) + " bytes of libxml2";
    }
    sums.bytes += text.size();
    if (wrong.empty()) {
        ++sums.passed;
        sums.no_canonical += expected_form.empty() ? 1 : 0;
        if (expected_again != expected_form) {
            ++sums.changed;
            std::printf("%s: indenting changes it, with libxml2 as well\n", path.c_str());
        }
    } else {
        ++sums.differing;
        std::printf("%s: %s\n", path.c_str(), wrong.c_str());
    }
}

void say_nothing(void * /*state*/, const char * /*format*/, ...) {}

} // namespace

int main(int count, char **arguments) {
    xmlInitParser();
    xmlSetGenericErrorFunc(nullptr, say_nothing);
    totals sums;
    for (int place = 1; place < count; ++place) {
        for (const std::filesystem::path &path : find_files(arguments[place])) {
            take(path, sums);
        }
    }
    std::printf("%zu files, %zu passed (%zu of them without a canonical form, %zu changed by "
                "indenting), %zu differing, %zu "
                "not read, %ju bytes\n",
                sums.files, sums.passed, sums.no_canonical, sums.changed, sums.differing,
                sums.not_read, sums.bytes);
    return sums.differing == 0 && sums.passed != 0 ? 0 : 1;
}
