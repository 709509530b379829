// Trees to be written: for tests that compare what we write with what libxml2 writes.
#pragma once

#include "libxml/xml.hpp"
#include "xml_owner.hpp"

#include <libxml/parser.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace written_trees {

using pkg_dbe_xml::xml_doc_ptr;

inline const xmlChar *xml(const char *text) { return reinterpret_cast<const xmlChar *>(text); }

inline constexpr int k_option_sets[] = {
    0, XML_PARSE_NOBLANKS, XML_PARSE_NOENT | XML_PARSE_NOBLANKS | XML_PARSE_HUGE,
    XML_PARSE_NOENT | XML_PARSE_DTDATTR | XML_PARSE_HUGE, XML_PARSE_NOCDATA};

inline xml_doc_ptr parse(std::string_view text, int options) {
    const host::xml_scope scope;
    return xml_doc_ptr(
        xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                      options | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
}

inline constexpr const char *k_documents[] = {
    "<a/>",
    "<a></a>",
    "<a>text</a>",
    "<a><b/></a>",
    "<a><b/>text<c/></a>",
    "<a><b><c><d/></c></b></a>",
    "<a><b><c>x<d><e/></d></c></b><f><g/></f></a>",
    "<a><b>x<c><d/></c></b><e><f/></e>y</a>",
    "<?xml version='1.0' standalone='yes'?><a/>",
    "<?xml version='1.0' standalone='no'?><a/>",
    "<?xml version='1.1'?><a/>",
    "<?xml version='1.0' encoding='UTF-8'?><a b='\xC3\xA4'>\xC3\xA4</a>",
    "<?xml version='1.0' encoding='ISO-8859-1'?><a b='\xE4'>\xE4</a>",
    "<a b='\xC3\xA4\xE2\x82\xAC\xF0\x9D\x84\x9E'>\xC3\xA4\xE2\x82\xAC\xF0\x9D\x84\x9E</a>",
    "<a b='&lt;&gt;&amp;&quot;&apos;&#9;&#10;&#13;'>&lt;&gt;&amp;&quot;&apos;&#9;&#10;&#13;</a>",
    "<a xmlns='urn:one' xmlns:p='urn:two'><p:b p:c='1' d='2'/></a>",
    "<p:a xmlns:p='urn:&quot;one&quot;' xmlns:q='urn:it&apos;s' xmlns:r='&quot;&apos;'/>",
    "<a xmlns=''><b xmlns='urn:x'><c xmlns=''/></b></a>",
    "<a xml:lang='en' xml:space='preserve'> <b/> </a>",
    "<a><![CDATA[x]]></a>",
    "<a><![CDATA[]]></a>",
    "<a><![CDATA[a]]]]><![CDATA[>b]]></a>",
    "<a><!--c--><b/><!----></a>",
    "<!--before--><?go now?><a/><!--after--><?stop?>",
    "<a><?go?><?go  now ?><b/></a>",
    "<!DOCTYPE a><a/>",
    "<!DOCTYPE a SYSTEM 'a.dtd'><a/>",
    "<!DOCTYPE a PUBLIC '-//A//B' 'a.dtd'><a/>",
    "<!DOCTYPE a SYSTEM \"it's\"><a/>",
    "<!--x--><!DOCTYPE a [<!ELEMENT a ANY>]><!--y--><a><b/></a>",
    "<!DOCTYPE a [<!ELEMENT a (b*,(c|d)+,e?)><!ELEMENT b EMPTY><!ELEMENT c (#PCDATA|b)*>"
    "<!ATTLIST a x CDATA 'v&amp;w' y (p|q) #IMPLIED z ID #REQUIRED><!ATTLIST b n NMTOKENS #FIXED "
    "'1 2'><!NOTATION gif PUBLIC '-//GIF'><!NOTATION png SYSTEM 'png' ><!ENTITY e 'text &#38;#38; "
    "more'><!ENTITY pic SYSTEM 'p.gif' NDATA gif><!ENTITY ext PUBLIC '-//X' 'x.xml'><!ENTITY % p "
    "'<!--from p-->'>%p;<!--inside--><?within it?>]><a z='i'><b/><c>&e;</c></a>",
    "<!DOCTYPE a [<!ENTITY e '<b>x</b>y'><!ENTITY f 'f &e; f'>]><a p='1&#38;2'>&e;<c>&f;</c></a>",
    "<!DOCTYPE a [<!ENTITY e 'in attribute'>]><a p='x &e; y' q='&e;'><b r='&e;&e;'/></a>",
    "<!DOCTYPE a [<!ATTLIST a d CDATA 'default'><!ENTITY e SYSTEM 'nowhere'>]><a>&e;</a>",
    "<a>\r\n  <b/>\r\n</a>",
    "<a>  </a>",
    "<a>]]&gt;</a>",
};

// --- documents of this machine ----------------------------------------------------------------

inline bool is_xml_file(const std::filesystem::path &path) {
    static const std::string_view k_extensions[] = {".xml",  ".svg", ".xsl",
                                                    ".xslt", ".rng", ".xsd"};
    const std::string extension = path.extension().string();
    return std::find(std::begin(k_extensions), std::end(k_extensions), extension) !=
           std::end(k_extensions);
}

inline std::vector<std::filesystem::path> find_documents() {
    namespace files = std::filesystem;
    std::vector<files::path> found;
    for (const char *folder : {"/usr/share", "/etc/fonts", "/etc/dbus-1", "/etc/xml"}) {
        std::error_code error;
        for (auto file = files::recursive_directory_iterator(
                 folder, files::directory_options::skip_permission_denied, error);
             !error && file != files::recursive_directory_iterator(); file.increment(error)) {
            std::error_code status;
            if (is_xml_file(file->path()) && file->is_regular_file(status)) {
                found.push_back(file->path());
            }
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

inline std::string read_file(const std::filesystem::path &path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

// --- trees at random --------------------------------------------------------------------------

class random_tree {
  public:
    explicit random_tree(unsigned seed) : random_(seed), document_(xmlNewDoc(xml("1.0"))) {
        if (chance(2)) {
            document_->encoding = xmlStrdup(xml(chance(2) ? "UTF-8" : "ISO-8859-1"));
        }
        document_->standalone = static_cast<int>(pick(4)) - 2;
        if (chance(4)) {
            xmlCreateIntSubset(document_.get(), xml("root"), chance(2) ? xml("-//P//Q") : nullptr,
                               chance(2) ? xml("s.dtd") : nullptr);
            xmlAddDocEntity(document_.get(), xml("e"), XML_INTERNAL_GENERAL_ENTITY, nullptr,
                            nullptr, xml("entity <x/> text"));
        }
        if (chance(3)) {
            xmlAddChild(top(), xmlNewDocComment(document_.get(), xml(text().c_str())));
        }
        const xmlNodePtr root = element();
        xmlAddChild(top(), root);
        elements_.push_back(root);
        const std::size_t size = 1 + pick(80);
        for (std::size_t i = 0; i < size; ++i) {
            add();
        }
        if (chance(3)) {
            xmlAddChild(top(), xmlNewDocPI(document_.get(), xml("end"), nullptr));
        }
    }
    [[nodiscard]] xmlDocPtr document() const { return document_.get(); }

  private:
    std::size_t pick(std::size_t bound) { return random_() % bound; }
    bool chance(std::size_t in) { return pick(in) == 0; }
    xmlNodePtr top() { return reinterpret_cast<xmlNodePtr>(document_.get()); }

    std::string text() {
        static const std::string_view k_pieces[] = {"a",
                                                    "word ",
                                                    " ",
                                                    "\n",
                                                    "\r",
                                                    "\t",
                                                    "<",
                                                    ">",
                                                    "&",
                                                    "\"",
                                                    "'",
                                                    "]]>",
                                                    "\xC3\xA4",
                                                    "\xE2\x82\xAC",
                                                    "\x80",
                                                    "\xC3",
                                                    "\x01",
                                                    "--",
                                                    "?>",
                                                    "&amp;",
                                                    "&e;",
                                                    "\xFF",
                                                    "\xF0\x9D\x84",
                                                    "\xED\xA0\x80",
                                                    "0123456789abcdef"};
        std::string text;
        const std::size_t count = pick(chance(20) ? 400 : 6);
        for (std::size_t i = 0; i < count; ++i) {
            text += k_pieces[pick(std::size(k_pieces))];
        }
        return text;
    }

    xmlNodePtr element() {
        static const char *const k_names[] = {"a", "item", "a-rather-long-name-of-an-element",
                                              "\xC3\xA4"};
        const xmlNodePtr made =
            xmlNewDocNode(document_.get(), nullptr, xml(k_names[pick(4)]), nullptr);
        if (chance(4)) {
            static const char *const k_prefixes[] = {nullptr, "p", "prefix"};
            static const char *const k_uris[] = {"", "urn:x", "it's", "\"", "'\"<&"};
            const xmlNsPtr space = xmlNewNs(made, xml(k_uris[pick(5)]), xml(k_prefixes[pick(3)]));
            if (chance(2)) {
                xmlSetNs(made, space);
            }
        }
        for (std::size_t count = pick(3); count > 0; --count) {
            add_attribute(made);
        }
        return made;
    }

    void add_attribute(xmlNodePtr element) {
        const std::string name = "n" + std::to_string(pick(1000));
        const xmlAttrPtr made =
            xmlNewNsProp(element, chance(3) ? element->nsDef : nullptr, xml(name.c_str()), nullptr);
        for (std::size_t count = pick(3); count > 0; --count) {
            const xmlNodePtr part = chance(5) ? xmlNewReference(document_.get(), xml("e"))
                                              : xmlNewDocText(document_.get(), xml(text().c_str()));
            part->parent = reinterpret_cast<xmlNodePtr>(made);
            part->prev = made->last;
            (made->last != nullptr ? made->last->next : made->children) = part;
            made->last = part;
        }
    }

    void add() {
        const xmlNodePtr parent = elements_[pick(elements_.size())];
        const std::string content = text();
        switch (pick(chance(3) ? 9 : 3)) {
        case 0:
        case 1:
        case 2: {
            const xmlNodePtr made = element();
            xmlAddChild(parent, made);
            elements_.push_back(made);
            return;
        }
        case 3:
        case 4:
            xmlAddChild(parent, xmlNewDocText(document_.get(), xml(content.c_str())));
            return;
        case 5:
            xmlAddChild(parent, xmlNewCDataBlock(document_.get(), xml(content.c_str()),
                                                 static_cast<int>(content.size())));
            return;
        case 6:
            xmlAddChild(parent, xmlNewDocComment(document_.get(), xml(content.c_str())));
            return;
        case 7:
            xmlAddChild(parent, xmlNewDocPI(document_.get(), xml("pi"),
                                            chance(2) ? nullptr : xml(content.c_str())));
            return;
        default:
            xmlAddChild(parent, xmlNewReference(document_.get(), xml("e")));
            return;
        }
    }

    std::mt19937 random_;
    xml_doc_ptr document_;
    std::vector<xmlNodePtr> elements_;
};

} // namespace written_trees
