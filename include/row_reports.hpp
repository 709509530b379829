// The reports of rows out of trees, as rows like those of error_reports.hpp.
#pragma once

#include "error_reports.hpp"

namespace pkg_dbe_xml {

// clang-format off
namespace reports {

// --- rows ---
inline constexpr report_row rows_need_paths{0, "22004", "argument %s of %s must not be null",
    "Rows are made of a path for the rows and of a path for each column.",
    "Pass the paths.", nullptr, true};
inline constexpr report_row rows_without_columns{0, "42601",
    "rows need a list of columns with their types",
    "The function was called where the statement lists no columns.",
    "Call it in FROM: FROM xmldom.rows(...) AS t(id integer, name text).", nullptr, true};
inline constexpr report_row rows_paths_shape{0, "22023",
    "the paths of the columns are neither a list nor pairs of names and paths",
    "The array has neither one dimension nor two columns.",
    "Write array['@id', 'name'] or array[['id', '@id'], ['name', 'name']].", nullptr, true};
inline constexpr report_row rows_path_null{0, "22004", "a path of the columns is null",
    "Each column needs a path.", "Leave the column out, or give it the path /.. that finds nothing.",
    nullptr, true};
inline constexpr report_row rows_path_not_nodes{0, "XP003",
    "the path of the rows gives %s, and not nodes",
    "There is a row for each node of the path.",
    "Give it a path of nodes, and the paths of the columns the rest.", nullptr, true};
inline constexpr report_row rows_column_count{0, "42804",
    "the number of paths, %s, is not that of the columns, %s",
    "Each column that AS lists is read by one path.",
    "Write as many paths as columns.", nullptr, true};
inline constexpr report_row rows_unknown_column{0, "42703",
    "a path is given for the column \"%s\", which AS does not list",
    "Paths with names belong to the columns of these names.",
    "Check the name; names without quotes are in lower case.", nullptr, true};
inline constexpr report_row rows_column_twice{0, "42701",
    "two paths are given for the column \"%s\"",
    "Paths with names belong to the columns of these names.",
    "Take one of them out.", nullptr, true};
inline constexpr report_row rows_many_nodes{0, "21000",
    "the path of the column \"%s\" gives %s nodes for one row",
    "A column that is no array holds the value of one.",
    "Choose one, as (path)[1] does, or make the column an array.", nullptr, true};
inline constexpr report_row rows_unknown_choice{0, "22023", "\"%s\" is none of the values of %s",
    "The argument takes one of a few words.", "Write 'error' or 'null'.", nullptr, true};
inline constexpr report_row rows_no_nulls_on_error{0, "0A000",
    "this server cannot make nulls of values that do not convert",
    "It is older than PostgreSQL 16, where a failed conversion ends the statement.",
    "Make the column a text, and convert it in SQL where it fits.", nullptr, true};

} // namespace reports
// clang-format on

} // namespace pkg_dbe_xml
