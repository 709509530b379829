// Rows out of nodes: a column for each path, which starts at the node, converted by the input
// function of the column's type. Where the nodes come from is the caller's affair:
//
//   PKG_DBE_XML_FUNCTION(xmldom_rows) {
//       row_maker rows(call, k_rows, row_source::shared);
//       const path_lease row_path = rows.path_argument();
//       ...
//           rows.add(node);                                  // a row
//       ...
//       return rows.finish();
//   }
//
// The functions that make rows have the same arguments: a source, the path of the rows, the paths
// of the columns, namespaces, on_error. The paths of the columns are a list, one for each column
// that the statement lists, or pairs of a column's name and its path.
//
// Texts are read first and converted afterwards, in batches, so that nothing of a tree is held
// while a conversion runs.
#pragma once

#include "functions/package_arguments.hpp"
#include "functions/path_arguments.hpp"
#include "growing_array.hpp"
#include "host/records.hpp"
#include "paths/paths.hpp"
#include "paths/plain_steps.hpp"
#include "text/text_output.hpp"
#include "tree/poll_counter.hpp"

#include <cstddef>
#include <span>
#include <string_view>

namespace pkg_dbe_xml {

// Who else can reach the nodes. A conversion may run anybody's code, which may free or change what
// has handles: of such a tree all rows are read before the first is converted.
enum class row_source {
    shared, // nodes of the session's trees
    own     // nodes that have no handles, and that the caller alone frees
};

class row_maker {
  public:
    static constexpr int k_source = 0;
    static constexpr int k_row_path = 1;
    static constexpr int k_columns = 2;
    static constexpr int k_namespaces = 3;
    static constexpr int k_on_error = 4;

    // Reads the arguments but the source, and compiles the paths of the columns. `function` lives
    // as long as this. Reports rows_need_paths, rows_unknown_choice, rows_without_columns,
    // rows_no_nulls_on_error, rows_paths_shape, rows_path_null, rows_column_count,
    // rows_unknown_column, rows_column_twice and what compile_path and bindings_argument report.
    row_maker(host::call &call, const package_function &function, row_source source);
    ~row_maker();
    row_maker(const row_maker &) = delete;
    row_maker &operator=(const row_maker &) = delete;

    [[nodiscard]] const package_call &here() const noexcept { return here_; }
    // The path of the rows, as text in UTF-8 and compiled. Reports rows_path_not_nodes and what
    // compile_path reports.
    [[nodiscard]] std::string_view path_text() const { return utf8_text(call_.value(k_row_path)); }
    [[nodiscard]] path_lease path_argument() const;
    [[nodiscard]] const path_bindings &bindings() const noexcept { return bindings_; }

    // Whether the columns ask for nothing but what stands below a node, so that rows can be made
    // while the rest of the document is still being parsed; `wait_with_code` then.
    [[nodiscard]] bool look_down() const noexcept;
    // Conversions that run anybody's code wait until `finish`.
    void wait_with_code() noexcept { hands_over_early_ = !rows_.runs_code(); }
    // Forgets all rows that were added.
    void start_over() noexcept;
    // To be told when the nodes that follow are of another document than those before.
    void begin_document() noexcept;
    // Reads a row. The node must live until this returns. Reports rows_many_nodes, what evaluations
    // and the writing of markup report and, now or later, what conversions raise.
    void add(xmlNodePtr node);
    // Converts and hands over what was read; the result of the body.
    [[nodiscard]] host::datum finish();

  private:
    struct column_reader;
    struct kept_batch;

    [[nodiscard]] bool checked_choice(const package_function &function) const;
    void read_paths();
    void pair_paths(std::span<const std::string_view> pairs);
    [[nodiscard]] std::size_t column_named(std::string_view name) const;
    void compile_columns();

    void read_column(column_reader &reader, xmlNodePtr node);
    void add_nodes(column_reader &reader, std::span<const xmlNodePtr> nodes, path_evaluation *run);
    void add_text_of(column_reader &reader, xmlNodePtr node, path_evaluation *run);
    void add_markup(column_reader &reader, std::span<const xmlNodePtr> nodes);
    void write_node(xmlNodePtr node, text_output &output);
    [[noreturn]] void fail_for_many(const column_reader &reader, std::size_t found) const;
    void begin_batch();
    void drop_batches() noexcept;

    host::call &call_;
    package_call here_;
    host::record_set rows_;
    bool hands_over_early_;
    path_bindings bindings_{};
    std::string_view *paths_ = nullptr; // of the columns; in memory of the call, as the next are
    column_reader *readers_ = nullptr;
    std::size_t reader_count_ = 0;
    kept_batch *first_ = nullptr; // those still to be handed over
    kept_batch *last_ = nullptr;
    growing_array<xmlNodePtr, 16> found_;
    poll_counter polls_;
    std::size_t row_ = 0; // the one being read, from 1
};

} // namespace pkg_dbe_xml
