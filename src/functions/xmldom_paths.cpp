// Path queries of the package: rows, the first node, a text, a number, a truth value.

#include "functions/package_arguments.hpp"
#include "functions/path_arguments.hpp"
#include "host/rows.hpp"
#include "paths/paths.hpp"
#include "text/text_argument.hpp"

#include <optional>
#include <string_view>

namespace pkg_dbe_xml {

namespace {

constexpr int k_path = 1;
constexpr int k_namespaces = 2;
constexpr int k_variables = 3;

constexpr package_function k_xpath{"xmldom.xpath", {"node", "path", "namespaces", "variables"}};
constexpr package_function k_xpath_first{"xmldom.xpath_first",
                                         {"node", "path", "namespaces", "variables"}};
constexpr package_function k_xpath_text{"xmldom.xpath_text",
                                        {"node", "path", "namespaces", "variables"}};
constexpr package_function k_xpath_number{"xmldom.xpath_number",
                                          {"node", "path", "namespaces", "variables"}};
constexpr package_function k_xpath_exists{"xmldom.xpath_exists",
                                          {"node", "path", "namespaces", "variables"}};

// A query: its arguments read, its path compiled. Nothing where the node or the path is null.
class query {
  public:
    query(host::call &call, const package_function &function)
        : here_(call, function), from_(here_.node(0)) {
        if (!from_ || call.is_null(k_path)) {
            from_.node = nullptr;
            return;
        }
        const path_bindings bindings{bindings_argument(call, here_, k_namespaces),
                                     bindings_argument(call, here_, k_variables)};
        path_.emplace(compile_path(utf8_text(call.value(k_path)), bindings));
        run_.emplace(path_->code(), from_.node, bindings.variables);
    }
    explicit operator bool() const noexcept { return from_.node != nullptr; }
    [[nodiscard]] path_evaluation &run() noexcept { return *run_; }
    [[nodiscard]] const named_node &from() const noexcept { return from_; }
    [[nodiscard]] const package_call &here() const noexcept { return here_; }

  private:
    package_call here_;
    named_node from_;
    std::optional<path_lease> path_;
    std::optional<path_evaluation> run_;
};

} // namespace

// The nodes of a path in document order, their own handles. All are found before the first row is
// given.
PKG_DBE_XML_FUNCTION(xmldom_xpath) {
    host::row_set rows(call);
    query asked(call, k_xpath);
    if (asked) {
        for (xmlNodePtr const node : asked.run().nodes()) {
            const XMLHashEntry &entry = own_entry(*asked.from().entry, node);
            write_handle(entry, rows.put_copied(k_handle_room));
        }
    }
    return rows.finish();
}

PKG_DBE_XML_FUNCTION(xmldom_xpath_first) {
    query asked(call, k_xpath_first);
    return asked ? asked.here().result(asked.from(), asked.run().first()) : call.null();
}

// The text of the first node, or of another value; null for a set without nodes.
PKG_DBE_XML_FUNCTION(xmldom_xpath_text) {
    query asked(call, k_xpath_text);
    if (!asked) {
        return call.null();
    }
    const std::optional<std::string_view> text = asked.run().text_if_any();
    return text ? text_result(reinterpret_cast<const xmlChar *>(text->data()), text->size())
                : call.null();
}

PKG_DBE_XML_FUNCTION(xmldom_xpath_number) {
    query asked(call, k_xpath_number);
    if (!asked) {
        return call.null();
    }
    const std::optional<double> number = asked.run().number_if_any();
    return number ? host::from_float8(*number) : call.null();
}

PKG_DBE_XML_FUNCTION(xmldom_xpath_exists) {
    query asked(call, k_xpath_exists);
    return asked ? host::from_boolean(asked.run().truth()) : call.null();
}

} // namespace pkg_dbe_xml
