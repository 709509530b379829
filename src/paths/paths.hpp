// Path queries: XPath 1.0 over any tree, attached or not.
//
//   const path_lease path = compile_path(text, bindings);      // from the session's cache
//   path_evaluation run(path.code(), node, variables);
//   run.nodes(), run.first(), run.text(), run.number(), run.truth()
//
// The root of a query is the topmost ancestor of its context node. Nothing in the tree is changed,
// no libxml2 function that could allocate is called. Every loop is counted: the count is where the
// statement can be cancelled, and has a ceiling. Memory comes from a context of the evaluation's
// own, up to a limit, and goes with it.
#pragma once

#include "host/memory.hpp"
#include "paths/path_code.hpp"

#include <libxml/tree.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace pkg_dbe_xml {

// A prefix and its URI, or a variable and its text; UTF-8.
struct path_binding {
    std::string_view name;
    std::string_view value;
};

// What a path may refer to. Later bindings of a name count, an empty URI binds nothing.
struct path_bindings {
    std::span<const path_binding> namespaces;
    std::span<const path_binding> variables;
};

// A longer path is refused, in bytes.
inline constexpr std::size_t k_longest_path = std::size_t{1024} * 1024;
// Levels of parentheses, predicates and arguments.
inline constexpr std::size_t k_deepest_path = 256;

namespace paths {

// Compiles a path into one block of `context`; the caller frees it with host::mmgr_free_with_fl.
// Reports path_syntax, path_too_long, path_too_deep, unknown_path_name, wrong_path_type,
// wrong_argument_count; throws when memory runs out.
[[nodiscard]] path_code *compile(std::string_view text, const path_bindings &bindings,
                                 host::memory_context *context);

} // namespace paths

struct cached_path;

// A compiled path on loan: it stays as long as the lease, whatever else is compiled.
class path_lease {
  public:
    explicit path_lease(cached_path *entry, paths::path_code *own) noexcept
        : entry_(entry), own_(own) {}
    path_lease(path_lease &&other) noexcept : entry_(other.entry_), own_(other.own_) {
        other.entry_ = nullptr;
        other.own_ = nullptr;
    }
    path_lease(const path_lease &) = delete;
    path_lease &operator=(const path_lease &) = delete;
    ~path_lease();
    [[nodiscard]] const paths::path_code &code() const noexcept;
    // Hands a path that is not in the cache over to the caller.
    [[nodiscard]] paths::path_code *release() noexcept {
        paths::path_code *const released = own_;
        own_ = nullptr;
        return released;
    }

  private:
    cached_path *entry_;    // in the cache; null where the path is not kept
    paths::path_code *own_; // the lease's own, then
};

// The compiled path, out of the session's cache or compiled now. Values of variables do not count:
// they are given to each evaluation. Reports what paths::compile reports.
[[nodiscard]] path_lease compile_path(std::string_view text, const path_bindings &bindings);

// Paths in the cache, and the bytes they take.
struct path_cache_use {
    std::size_t paths;
    std::size_t bytes;
};
[[nodiscard]] path_cache_use cached_paths() noexcept;
inline constexpr std::size_t k_most_cached_paths = 64;
inline constexpr std::size_t k_most_cached_bytes = std::size_t{1024} * 1024;

namespace paths {
class evaluator;
}

// One evaluation of a path. What it returns is good as long as it lives and the tree is unchanged.
class path_evaluation {
  public:
    // `variables` as they were given when the path was compiled. Reports path_context for a
    // context node that is a declaration or stands in one.
    path_evaluation(const paths::path_code &code, xmlNodePtr context,
                    std::span<const path_binding> variables);
    ~path_evaluation();
    path_evaluation(const path_evaluation &) = delete;
    path_evaluation &operator=(const path_evaluation &) = delete;

    // All of these report path_work_limit, path_memory_limit and what the host reports when the
    // statement was cancelled.

    // The nodes in document order. Reports path_not_nodes for a path of another type, and
    // path_namespace_node where a namespace node is among them.
    [[nodiscard]] std::span<const xmlNodePtr> nodes();
    // The first of them, null for none; looks no further than it must. Reports as above.
    [[nodiscard]] xmlNodePtr first();
    // The number of nodes in the set. Reports path_not_nodes.
    [[nodiscard]] std::size_t count();
    // The value as string(), number() and boolean() give it.
    [[nodiscard]] std::string_view text();
    [[nodiscard]] double number();
    [[nodiscard]] bool truth();
    // The same; nothing where the path gives nodes and there is none.
    [[nodiscard]] std::optional<std::string_view> text_if_any();
    [[nodiscard]] std::optional<double> number_if_any();
    // The text of a node, one of those that were found.
    [[nodiscard]] std::string_view text_of(const xmlNode *node);
    // Nodes, comparisons and bytes counted so far.
    [[nodiscard]] std::size_t work() const noexcept;

  private:
    alignas(16) std::byte room_[3584];
    paths::evaluator *evaluator_;
};

} // namespace pkg_dbe_xml
