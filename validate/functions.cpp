// The SQL functions of the package xmlschema that read: validate, is_valid, assert_valid.
//
// They come in two forms: for a tree that a handle names, and for a text, which is parsed for the
// call alone.
#include "complaint_rows.hpp"
#include "host/memory.hpp"
#include "host/text.hpp"
#include "services.hpp"
#include "validating.hpp"
#include "validation_reports.hpp"

#include <algorithm>
#include <climits>
#include <memory>

namespace pkg_dbe_xml::validation {

namespace {

constexpr std::int32_t k_usual_most = 1000;
constexpr std::int32_t k_most = 100'000;
// Complaints that xmlschema.assert_valid tells.
constexpr std::size_t k_told = 10;

// What a call validates: a tree that somebody has, or a document of its own.
class subject {
  public:
    subject(host::call &call, const char *function, bool is_text) {
        if (is_text) {
            own_ = services().parse_value(call.value(0));
        } else {
            tree_ = services().tree_argument(call, {function, "node", 0});
        }
    }
    ~subject() { services().free_document(own_); }
    subject(const subject &) = delete;
    subject &operator=(const subject &) = delete;

    void validate(const compiled_schema &schema, outcome &result) const {
        validate_tree(own_ != nullptr ? reinterpret_cast<const xmlNode *>(own_) : tree_,
                      own_ != nullptr, schema, result);
    }
    // The path of a node that a complaint names. In a copy of an element its place is that of the
    // element in its tree.
    [[nodiscard]] std::string path_of(const xmlNode *node, const outcome &result) const {
        const std::string path(services().path_of(node));
        if (result.copy == nullptr || tree_->type != XML_ELEMENT_NODE || node->doc != result.copy) {
            return path;
        }
        const std::size_t second = path.find('/', 1);
        return std::string(services().path_of(tree_)) +
               (second == std::string::npos ? "" : path.substr(second));
    }

  private:
    const xmlNode *tree_ = nullptr;
    xmlDocPtr own_ = nullptr;
};

[[nodiscard]] const compiled_schema &schema_argument(host::call &call, const char *function) {
    services().needs(call, {function, "location", 1});
    return schema_at(services().utf8_text(call.value(1)));
}

[[nodiscard]] host::datum validated(host::call &call, bool is_text) {
    constexpr const char *k_name = "xmlschema.validate";
    complaint_rows rows(call);
    const compiled_schema &schema = schema_argument(call, k_name);
    if (call.is_null(0)) {
        return rows.finish();
    }
    const subject what(call, k_name, is_text);
    outcome result;
    result.complaints.at_most = static_cast<std::size_t>(
        call.is_null(2) ? k_usual_most : std::clamp(call.int4(2), 1, k_most));
    what.validate(schema, result);
    for (const complaint &one : result.complaints.found) {
        rows.put(static_cast<std::int32_t>(std::min<long>(one.line, INT_MAX)),
                 one.node == nullptr ? 0 : services().text_value(what.path_of(one.node, result)),
                 services().text_value(one.level), services().text_value(one.message));
    }
    return rows.finish();
}

[[nodiscard]] host::datum told_whether_valid(host::call &call, bool is_text) {
    constexpr const char *k_name = "xmlschema.is_valid";
    const compiled_schema &schema = schema_argument(call, k_name);
    if (call.is_null(0)) {
        return call.null();
    }
    const subject what(call, k_name, is_text);
    outcome result;
    what.validate(schema, result);
    return host::from_boolean(result.complaints.errors == 0);
}

[[nodiscard]] std::string words_of(const complaint &one, const subject &what,
                                   const outcome &result) {
    return "line " + std::to_string(one.line) + ", " +
           (one.node == nullptr ? "" : what.path_of(one.node, result) + ": ") + one.message;
}

[[nodiscard]] host::datum asserted_valid(host::call &call, bool is_text) {
    constexpr const char *k_name = "xmlschema.assert_valid";
    services().needs(call, {k_name, is_text ? "document" : "node", 0});
    const compiled_schema &schema = schema_argument(call, k_name);
    const subject what(call, k_name, is_text);
    outcome result;
    result.complaints.at_most = k_told;
    what.validate(schema, result);
    if (result.complaints.errors == 0) {
        return call.null();
    }
    std::string first;
    std::string lines;
    for (const complaint &one : result.complaints.found) {
        const std::string words = words_of(one, what, result);
        first = first.empty() && one.level[0] != 'w' ? words : first;
        lines += (lines.empty() ? "" : "\n") + words;
    }
    services().report(reports::not_valid, {schema.location, first}, lines);
    return call.null();
}

} // namespace

} // namespace pkg_dbe_xml::validation

// Arguments: tree or text, location, most complaints. A null tree or text has no complaints.
// Reports null_package_argument, what schema_at reports, unknown_handle, stale_handle,
// wrong_node_type or invalid_document, and what validate_tree reports.
PKG_DBE_XML_FUNCTION(xmlschema_validate_node) {
    return pkg_dbe_xml::validation::validated(call, false);
}
PKG_DBE_XML_FUNCTION(xmlschema_validate_text) {
    return pkg_dbe_xml::validation::validated(call, true);
}

// Arguments: tree or text, location. Null for a null tree or text. Reports as above.
PKG_DBE_XML_FUNCTION(xmlschema_is_valid_node) {
    return pkg_dbe_xml::validation::told_whether_valid(call, false);
}
PKG_DBE_XML_FUNCTION(xmlschema_is_valid_text) {
    return pkg_dbe_xml::validation::told_whether_valid(call, true);
}

// The same; null_package_argument for a null tree or text. Reports not_valid.
PKG_DBE_XML_FUNCTION(xmlschema_assert_valid_node) {
    return pkg_dbe_xml::validation::asserted_valid(call, false);
}
PKG_DBE_XML_FUNCTION(xmlschema_assert_valid_text) {
    return pkg_dbe_xml::validation::asserted_valid(call, true);
}
