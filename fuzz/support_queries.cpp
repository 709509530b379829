#include "support_queries.hpp"

#include "tree/typed_access.hpp"

namespace fuzz {

namespace {

using pkg_dbe_xml::as_node;

template <std::size_t count>
const char *one_of(choices &from, const char *const (&words)[count]) noexcept {
    return words[from.below(count)];
}

constexpr const char *k_names[] = {"a", "b", "c", "a", "p:a", "b"};
constexpr const char *k_attributes[] = {"x", "y", "p:x", "xml:lang"};
constexpr const char *k_texts[] = {"1", "2", "ab", " 3 ", "b a", "-4", "2.5 ", "\n ", "x\xC3\xA9y"};

// --- documents
// ------------------------------------------------------------------------------------

class document_writer {
  public:
    document_writer(choices &from, bool references) : from_(from), references_(references) {}
    std::string write() {
        if (references_) {
            text_ = "<!DOCTYPE a [<!ENTITY e 'en'><!ENTITY f '<b>2</b>'><!ATTLIST b y CDATA '7'>]>";
        }
        if (from_.below(8) == 1) {
            text_ += "<!--before-->";
        }
        text_ += "<a xmlns:p='urn:p'";
        attributes();
        text_ += ">";
        content(0);
        text_ += "</a>";
        if (from_.below(8) == 1) {
            text_ += "<?t after?>";
        }
        return std::move(text_);
    }

  private:
    void attributes() {
        for (const char *name : k_attributes) {
            if (from_.below(4) == 1) {
                text_ += std::string(" ") + name + "='" +
                         (name[1] == 'm' ? "en-GB" : one_of(from_, k_texts)) + "'";
            }
        }
    }
    void content(int depth) {
        const std::size_t members = from_.below(depth == 0 ? 7 : 5);
        for (std::size_t member = 0; member < members && text_.size() < 1500; ++member) {
            one(depth);
        }
    }
    void one(int depth) {
        switch (from_.below(references_ ? 11 : 9)) {
        case 0:
            text_ += "<!--ab-->";
            break;
        case 1:
            text_ += "<?t 1?>";
            break;
        case 2:
            text_ += "<![CDATA[2]]>";
            break;
        case 3:
        case 4:
            text_ += one_of(from_, k_texts);
            break;
        case 9:
            text_ += "&e;";
            break;
        case 10:
            text_ += "&f;";
            break;
        default:
            element(depth);
            break;
        }
    }
    void element(int depth) {
        const std::string name = one_of(from_, k_names);
        text_ += "<" + name;
        attributes();
        text_ += ">";
        if (depth < 5) {
            content(depth + 1);
        }
        text_ += "</" + name + ">";
    }

    choices &from_;
    bool references_;
    std::string text_;
};

// --- paths
// ----------------------------------------------------------------------------------------

class path_writer {
  public:
    explicit path_writer(choices &from) : from_(from) {}
    std::string write() {
        switch (from_.below(6)) {
        case 0:
            return number(0);
        case 1:
            return text(0);
        case 2:
            return truth(0);
        default:
            return nodes(0);
        }
    }

  private:
    static constexpr int k_deepest = 4;

    std::string test() {
        constexpr const char *k_tests[] = {"a",
                                           "b",
                                           "*",
                                           "node()",
                                           "a",
                                           "text()",
                                           "p:a",
                                           "p:*",
                                           "c",
                                           "comment()",
                                           "x",
                                           "*",
                                           "node()",
                                           "b",
                                           "processing-instruction()",
                                           "processing-instruction('t')"};
        return one_of(from_, k_tests);
    }
    std::string step(int depth) {
        constexpr const char *k_axes[] = {"child::",
                                          "descendant::",
                                          "descendant-or-self::",
                                          "self::",
                                          "parent::",
                                          "ancestor::",
                                          "ancestor-or-self::",
                                          "following-sibling::",
                                          "preceding-sibling::",
                                          "following::",
                                          "preceding::"};
        std::string made;
        switch (from_.below(8)) {
        case 0:
            return ".";
        case 1:
            return "..";
        case 2:
            made = from_.below(2) == 0 ? "@*" : "@x";
            break;
        case 3:
        case 4:
            made = test();
            break;
        default:
            made = one_of(from_, k_axes) + test();
            break;
        }
        const std::size_t predicates = from_.below(4);
        for (std::size_t index = 0; index + 2 < predicates + 1 && depth < k_deepest; ++index) {
            made += predicate(depth);
        }
        return made;
    }
    std::string predicate(int depth) {
        switch (from_.below(10)) {
        case 0:
            return "[1]";
        case 1:
            return "[2]";
        case 2:
            return "[last()]";
        case 3:
            return "[position() < 3]";
        case 4:
            return "[position() = last() - 1]";
        case 5:
            return "[" + nodes(depth + 1) + "]";
        case 6:
            return "[" + number(depth + 1) + "]";
        default:
            return "[" + truth(depth + 1) + "]";
        }
    }
    std::string relative(int depth) {
        std::string made = step(depth);
        const std::size_t steps = from_.below(4);
        for (std::size_t index = 0; index < steps; ++index) {
            made += from_.below(4) == 0 ? "//" : "/";
            made += step(depth);
        }
        return made;
    }
    std::string nodes(int depth) {
        if (depth >= k_deepest) {
            return "a";
        }
        switch (from_.below(12)) {
        case 0:
            return "/";
        case 1:
        case 2:
            return "/" + relative(depth);
        case 3:
        case 4:
            return "//" + relative(depth);
        case 5:
            return nodes(depth + 1) + " | " + nodes(depth + 1);
        case 6:
            return "(" + nodes(depth + 1) + ")" + predicate(depth);
        case 7:
            return "(" + nodes(depth + 1) + ")" + (from_.below(2) == 0 ? "/" : "//") +
                   relative(depth + 1);
        default:
            return relative(depth);
        }
    }
    std::string any(int depth) {
        switch (from_.below(4)) {
        case 0:
            return number(depth);
        case 1:
            return text(depth);
        case 2:
            return truth(depth);
        default:
            return nodes(depth);
        }
    }
    std::string number(int depth) {
        constexpr const char *k_numbers[] = {"0", "1", "2", "3.5", ".5", "10", "-1"};
        if (depth >= k_deepest) {
            return one_of(from_, k_numbers);
        }
        switch (from_.below(14)) {
        case 0:
            return "count(" + nodes(depth + 1) + ")";
        case 1:
            return "sum(" + nodes(depth + 1) + ")";
        case 2:
            return "string-length(" + text(depth + 1) + ")";
        case 3:
            return "position()";
        case 4:
            return "last()";
        case 5:
            return "(" + number(depth + 1) + " + " + number(depth + 1) + ")";
        case 6:
            return "(" + number(depth + 1) + " - " + number(depth + 1) + ")";
        case 7:
            return "(" + number(depth + 1) + " * 2)";
        case 8:
            return "(" + number(depth + 1) + (from_.below(2) == 0 ? " div 2)" : " mod 3)");
        case 9:
            return "number(" + any(depth + 1) + ")";
        case 10:
            return (from_.below(3) == 0   ? "floor("
                    : from_.below(2) == 0 ? "ceiling("
                                          : "round(") +
                   number(depth + 1) + ")";
        case 11:
            return "-" + number(depth + 1);
        default:
            return one_of(from_, k_numbers);
        }
    }
    std::string text(int depth) {
        constexpr const char *k_literals[] = {"'ab'", "\"\"", "'2'", "$v", "$w", "'b'"};
        if (depth >= k_deepest) {
            return one_of(from_, k_literals);
        }
        switch (from_.below(16)) {
        case 0:
            return "string(" + any(depth + 1) + ")";
        case 1:
            return "string()";
        case 2:
            return "concat(" + any(depth + 1) + ", " + text(depth + 1) + ")";
        case 3:
            return "substring(" + any(depth + 1) + ", " + number(depth + 1) + ")";
        case 4:
            return "substring(" + any(depth + 1) + ", " + number(depth + 1) + ", " +
                   number(depth + 1) + ")";
        case 5:
            return "substring-before(" + any(depth + 1) + ", " + text(depth + 1) + ")";
        case 6:
            return "substring-after(" + any(depth + 1) + ", " + text(depth + 1) + ")";
        case 7:
            return "normalize-space(" + any(depth + 1) + ")";
        case 8:
            return "translate(" + any(depth + 1) + ", 'ab2', 'x\xC3\xA9')";
        case 9:
            return "name(" + nodes(depth + 1) + ")";
        case 10:
            return "local-name()";
        case 11:
            return "namespace-uri(" + nodes(depth + 1) + ")";
        default:
            return one_of(from_, k_literals);
        }
    }
    std::string truth(int depth) {
        constexpr const char *k_operators[] = {" = ", " != ", " < ", " <= ", " > ", " >= ", " = "};
        if (depth >= k_deepest) {
            return "true()";
        }
        switch (from_.below(10)) {
        case 0:
            return "not(" + any(depth + 1) + ")";
        case 1:
            return "boolean(" + any(depth + 1) + ")";
        case 2:
            return "contains(" + any(depth + 1) + ", " + text(depth + 1) + ")";
        case 3:
            return "starts-with(" + any(depth + 1) + ", " + text(depth + 1) + ")";
        case 4:
            return "(" + any(depth + 1) + (from_.below(2) == 0 ? " and " : " or ") +
                   any(depth + 1) + ")";
        case 5:
            return "lang('en')";
        case 6:
            return "(" + any(depth + 1) + one_of(from_, k_operators) + any(depth + 1) +
                   one_of(from_, k_operators) + any(depth + 1) + ")";
        default:
            return any(depth + 1) + one_of(from_, k_operators) + any(depth + 1);
        }
    }

    choices &from_;
};

} // namespace

std::string random_document(choices &from, bool references) {
    return document_writer(from, references).write();
}

std::string random_path(choices &from) { return path_writer(from).write(); }

std::vector<xmlNodePtr> context_nodes(xmlDocPtr document) {
    std::vector<xmlNodePtr> found;
    xmlNodePtr const top = as_node(document);
    for (xmlNodePtr node = top; node != nullptr;) {
        if (!pkg_dbe_xml::is_declaration(node->type) && node->type != XML_ENTITY_REF_NODE) {
            found.push_back(node);
        }
        for (xmlAttrPtr attribute = pkg_dbe_xml::first_attribute(node); attribute != nullptr;
             attribute = attribute->next) {
            found.push_back(as_node(attribute));
        }
        xmlNodePtr const below =
            pkg_dbe_xml::is_container(node) ? pkg_dbe_xml::first_child(node) : nullptr;
        if (below != nullptr) {
            node = below;
            continue;
        }
        while (node != top && node->next == nullptr) {
            node = node->parent;
        }
        node = node == top ? nullptr : node->next;
    }
    return found;
}

} // namespace fuzz
