// Canonical forms of the library beside libxml2's, and random documents to compare them by.
#pragma once

#include "host/call.hpp"
#include "standalone_session.hpp"
#include "support/sql.hpp"
#include "trees.hpp"
#include "write/canonical_writer.hpp"
#include "xml_owner.hpp"

#include <libxml/c14n.h>

#include <cstddef>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace canonical_beside {

struct form {
    const char *name;
    pkg_dbe_xml::canonical_form form;
    xmlC14NMode mode;
    bool with_comments;
    std::vector<const char *> prefixes; // in their order, null for the default namespace
};

inline const std::vector<form> &forms() {
    using enum pkg_dbe_xml::canonical_form;
    static const std::vector<form> k_forms{
        {"1.0", version_1_0, XML_C14N_1_0, false, {}},
        {"1.0 with comments", version_1_0, XML_C14N_1_0, true, {}},
        {"1.1", version_1_1, XML_C14N_1_1, false, {}},
        {"1.1 with comments", version_1_1, XML_C14N_1_1, true, {}},
        {"exclusive", exclusive, XML_C14N_EXCLUSIVE_1_0, false, {}},
        {"exclusive with comments", exclusive, XML_C14N_EXCLUSIVE_1_0, true, {}},
        {"exclusive but p", exclusive, XML_C14N_EXCLUSIVE_1_0, false, {"none", "p"}},
        {"exclusive but #default", exclusive, XML_C14N_EXCLUSIVE_1_0, true, {nullptr}},
        {"exclusive but three", exclusive, XML_C14N_EXCLUSIVE_1_0, false, {nullptr, "p", "q"}},
    };
    return k_forms;
}

// What libxml2 shows: a node and all below it.
inline int is_below(void *top, xmlNodePtr node, xmlNodePtr parent) {
    for (const xmlNode *each = node->type == XML_NAMESPACE_DECL ? parent : node; each != nullptr;
         each = each->parent) {
        if (each == top) {
            return 1;
        }
    }
    return 0;
}

// Of a document or of an element in one; nothing when libxml2 refuses.
inline std::optional<std::string> by_libxml2(xmlNodePtr top, const form &wanted) {
    std::vector<xmlChar *> prefixes;
    for (const char *const prefix : wanted.prefixes) {
        prefixes.push_back(
            const_cast<xmlChar *>(trees::xml(prefix == nullptr ? "#default" : prefix)));
    }
    prefixes.push_back(nullptr);
    xmlOutputBufferPtr buffer = xmlAllocOutputBuffer(nullptr);
    const bool is_whole = top->type == XML_DOCUMENT_NODE;
    const int written = xmlC14NExecute(top->doc, is_whole ? nullptr : is_below, top, wanted.mode,
                                       wanted.prefixes.empty() ? nullptr : prefixes.data(),
                                       wanted.with_comments ? 1 : 0, buffer);
    std::optional<std::string> made;
    if (written >= 0) {
        made.emplace(reinterpret_cast<const char *>(xmlOutputBufferGetContent(buffer)),
                     xmlOutputBufferGetSize(buffer));
    }
    xmlOutputBufferClose(buffer);
    return made;
}

// Of any node; nothing when the library refuses.
inline std::optional<std::string> by_library(xmlNodePtr top, const form &wanted) {
    std::vector<const xmlChar *> prefixes;
    for (const char *const prefix : wanted.prefixes) {
        prefixes.push_back(trees::xml(prefix));
    }
    try {
        pkg_dbe_xml::text_output output(INT64_MAX);
        pkg_dbe_xml::write_canonical(top, {wanted.form, wanted.with_comments, prefixes}, output);
        return std::string(output.c_str(), static_cast<std::size_t>(output.size()));
    } catch (const host::raised &) {
        return std::nullopt;
    }
}

// Random documents: prefixes that change what they mean, attributes of every kind, what has to be
// escaped, and everything beside elements. Namespaces are bound wherever they are used.
class random_document {
  public:
    explicit random_document(std::uint32_t seed) : random_(seed) {}

    std::string text() {
        std::string out = below(2) == 0
                              ? ""
                              : "<!DOCTYPE b [<!ATTLIST b d CDATA 'default' t NMTOKENS #IMPLIED>"
                                "<!ENTITY e 'en&#38;lt;&#x9;t<b/>'>]>";
        has_entity_ = !out.empty();
        beside_root(out);
        element(out, 0, {});
        beside_root(out);
        return out;
    }

  private:
    struct binding {
        std::string prefix, uri;
    };
    using scope = std::vector<binding>;

    std::size_t below(std::size_t count) { return random_() % count; }
    template <std::size_t count> const char *one_of(const char *const (&choices)[count]) {
        return choices[below(count)];
    }
    static std::string meaning(const scope &in, const std::string &prefix) {
        for (auto each = in.rbegin(); each != in.rend(); ++each) {
            if (each->prefix == prefix) {
                return each->uri;
            }
        }
        return "";
    }

    void beside_root(std::string &out) {
        while (below(3) == 0) {
            out += one_of({"<!--c-->", "<?p i?>", "<?p?>", "\n", "<!---->"});
        }
    }
    void data(std::string &out) {
        for (std::size_t left = below(4); left != 0; --left) {
            out += one_of({"x", "a b", "&lt;", "&amp;", "&gt;", "&quot;", "'", "&#xD;", "&#9;",
                           "&#10;", "\xC3\xB6", "\xF0\x9F\x98\x80", "]]&gt;", "\n", "  "});
        }
    }
    void declare(std::string &tag, scope &in) {
        for (const char *const prefix : {"q", "", "p", "zz", "r-1"}) {
            const std::string uri = one_of({"urn:a", "urn:b", "http://h/c", "urn:a", ""});
            if (below(4) != 0 || (uri.empty() && *prefix != 0)) {
                continue;
            }
            tag += std::string(" xmlns") + (*prefix == 0 ? "" : ":") + prefix + "='" + uri + "'";
            in.push_back({prefix, uri});
        }
    }
    void attributes(std::string &tag, const scope &in) {
        int number = 0; // no two have one local name
        for (const std::string name : {"b", "a", "zz:c", "p:a", "q:a", "r-1:d", "p:b"}) {
            ++number;
            const std::size_t colon = name.find(':');
            if (below(4) != 0 ||
                (colon != std::string::npos && meaning(in, name.substr(0, colon)).empty())) {
                continue;
            }
            tag += " " + name + std::to_string(number) + "=\"";
            data(tag);
            tag += "\"";
        }
        for (const char *const attribute :
             {"xml:lang='de'", "xml:space='preserve'", "xml:id='i'", "xml:base='http://h/a/b'",
              "xml:foo=''", "t=' 1  2 '"}) {
            if (below(8) == 0) {
                tag += std::string(" ") + attribute;
            }
        }
    }
    void content(std::string &out, int depth, const scope &in) {
        for (std::size_t left = below(depth < 6 ? 6 : 1); left != 0; --left) {
            switch (below(9)) {
            case 0:
                out += one_of({"<!--c-->", "<!-- <&>\n-->"});
                break;
            case 1:
                out += one_of({"<?p?>", "<?p  i <&> ?>"});
                break;
            case 2:
                out += "<![CDATA[<&>\"\n]]>";
                break;
            case 3:
                out += has_entity_ && meaning(in, "").empty() ? "&e;" : "e";
                break;
            case 4:
                data(out);
                break;
            default:
                element(out, depth + 1, in);
            }
        }
    }
    void element(std::string &out, int depth, scope in) {
        std::string tag;
        declare(tag, in);
        attributes(tag, in);
        std::string name = one_of({"b", "c", "p:b", "q:b", "zz:e"});
        const std::size_t colon = name.find(':');
        if (colon != std::string::npos && meaning(in, name.substr(0, colon)).empty()) {
            name = "b";
        }
        out += "<" + name + tag + ">";
        content(out, depth, in);
        out += "</" + name + ">";
    }

    std::mt19937 random_;
    bool has_entity_ = false;
};

struct compared {
    std::size_t pairs = 0;
    std::size_t refused = 0;           // by both
    std::size_t refused_elsewhere = 0; // by libxml2: what has no form stands beside the element
    std::size_t bytes = 0;
    compared &operator+=(const compared &other) {
        pairs += other.pairs;
        refused += other.refused;
        refused_elsewhere += other.refused_elsewhere;
        bytes += other.bytes;
        return *this;
    }
};

inline bool has_reference(const xmlNode *top) {
    if (top->type == XML_ENTITY_REF_NODE) {
        return true;
    }
    if (top->type == XML_ELEMENT_NODE) {
        for (const xmlAttr *attribute = top->properties; attribute != nullptr;
             attribute = attribute->next) {
            if (has_reference(reinterpret_cast<const xmlNode *>(attribute))) {
                return true;
            }
        }
    }
    for (const xmlNode *child = top->children; child != nullptr; child = child->next) {
        if (has_reference(child)) {
            return true;
        }
    }
    return false;
}

// The document and the first elements in it, in every form, by both. `differing` is told each pair
// that differs: the top, the form and both texts.
template <class Differing>
compared compare_all(xmlDocPtr document, Differing differing, std::size_t elements = SIZE_MAX) {
    compared sums;
    std::vector<xmlNodePtr> tops{reinterpret_cast<xmlNodePtr>(document)};
    for (xmlNodePtr next = document->children; next != nullptr && tops.size() - 1 < elements;) {
        if (next->type == XML_ELEMENT_NODE) {
            tops.push_back(next);
        }
        xmlNodePtr at = next;
        next = at->type == XML_ELEMENT_NODE ? at->children : nullptr;
        for (; next == nullptr && at != tops[0]; at = at->parent) {
            next = at->next;
        }
    }
    // libxml2 looks at the whole document for each element, and refuses it for a reference
    // anywhere.
    bool whole_refused = false;
    for (xmlNodePtr const top : tops) {
        for (const form &wanted : forms()) {
            const std::optional<std::string> theirs = by_libxml2(top, wanted);
            const std::optional<std::string> ours = by_library(top, wanted);
            if (top == tops[0]) {
                whole_refused = whole_refused || (!ours && !theirs);
            } else if (whole_refused && ours && !theirs && !has_reference(top)) {
                ++sums.refused_elsewhere;
                continue;
            }
            ++sums.pairs;
            sums.refused += ours || theirs ? 0U : 1U;
            sums.bytes += ours ? ours->size() : 0U;
            if (ours != theirs) {
                differing(top, wanted, ours.value_or("(refused)"), theirs.value_or("(refused)"));
            }
        }
    }
    return sums;
}

} // namespace canonical_beside
