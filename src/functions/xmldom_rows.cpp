// Rows out of trees: one for each node of a row path, with columns that are read by paths of their
// own.
//
// Most rows out of a text are elements that a few names lead to, and ask for nothing but what is
// below them. Such rows are read while the text is parsed, and taken out of the tree again: it
// never holds more than one.

#include "functions/row_maker.hpp"
#include "libxml/xml.hpp"
#include "parse/document_parsing.hpp"
#include "parse/parse_text.hpp"
#include "xml_owner.hpp"

#include <exception>
#include <optional>

namespace pkg_dbe_xml {

namespace {

constexpr package_function k_rows{"xmldom.rows",
                                  {"node", "row_path", "columns", "namespaces", "on_error"}};
constexpr package_function k_rows_of_text{
    "xmldom.rows_of_text", {"document", "row_path", "columns", "namespaces", "on_error"}};

// A document that goes with the call, however long that takes.
struct document_deleter {
    void operator()(xmlDocPtr document) const noexcept { host::free_document(document); }
};
using call_document_ptr = std::unique_ptr<xmlDoc, document_deleter>;

void add_rows(row_maker &rows, const path_lease &row_path, xmlNodePtr context) {
    path_evaluation run(row_path.code(), context, {});
    for (xmlNodePtr const node : run.nodes()) {
        rows.add(node);
    }
}

// Makes rows of elements as the parser shows them.
class parsed_rows {
  public:
    // `steps` lead from the document to the rows.
    parsed_rows(row_maker &rows, const paths::plain_steps &steps) noexcept
        : rows_(rows),
          steps_(steps), watch_{this, wants, show, start_over, static_cast<int>(steps.count())} {
        rows.wait_with_code();
    }
    parsed_rows(const parsed_rows &) = delete;
    parsed_rows &operator=(const parsed_rows &) = delete;
    [[nodiscard]] host::element_watch &watch() noexcept { return watch_; }
    // Throws what reading a row has thrown.
    void rethrow() const {
        if (failure_ != nullptr) {
            std::rethrow_exception(failure_);
        }
    }

  private:
    static bool wants(void *state, xmlNodePtr element) noexcept {
        return static_cast<parsed_rows *>(state)->steps_.lead_to(element);
    }
    // Called from within libxml2: what is thrown waits until that has returned.
    static bool show(void *state, xmlNodePtr element) noexcept {
        auto &self = *static_cast<parsed_rows *>(state);
        try {
            self.rows_.add(element);
        } catch (...) {
            self.failure_ = std::current_exception();
            return false;
        }
        return true;
    }
    static void start_over(void *state) noexcept {
        auto &self = *static_cast<parsed_rows *>(state);
        self.rows_.start_over();
        self.steps_.forget_names();
    }

    row_maker &rows_;
    paths::plain_steps steps_;
    host::element_watch watch_;
    std::exception_ptr failure_;
};

// The rows of a text that no node has handles of.
void add_rows_of(const parse_text &text, row_maker &rows, const path_lease &row_path) {
    std::optional<parsed_rows> parsed;
    paths::plain_steps steps;
    if (steps.read(row_path.code(), paths::path_start::root) && steps.count() > 1 &&
        !steps.ends_in_attribute() && rows.look_down()) {
        parsed.emplace(rows, steps);
    }
    const call_document_ptr document(
        parse_for_call(text, parsed ? &parsed->watch() : nullptr).release());
    if (parsed) {
        parsed->rethrow();
    }
    if (!parsed || document->intSubset != nullptr) {
        add_rows(rows, row_path, as_node(document.get()));
    }
}

} // namespace

PKG_DBE_XML_FUNCTION(xmldom_rows) {
    row_maker rows(call, k_rows, row_source::shared);
    const path_lease row_path = rows.path_argument();
    if (const named_node node = rows.here().node(row_maker::k_source)) {
        add_rows(rows, row_path, node.node);
    }
    return rows.finish();
}

// The document is parsed for this call alone and freed with it.
PKG_DBE_XML_FUNCTION(xmldom_rows_of_text) {
    row_maker rows(call, k_rows_of_text, row_source::own);
    const path_lease row_path = rows.path_argument();
    if (!call.is_null(row_maker::k_source)) {
        const parse_text text(call.value(row_maker::k_source), reports::text_too_large);
        add_rows_of(text, rows, row_path);
    }
    return rows.finish();
}

} // namespace pkg_dbe_xml
