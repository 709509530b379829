// Rows out of nodes.
#include "functions/row_maker.hpp"

#include "host/text_array.hpp"
#include "row_reports.hpp"
#include "text/text_limits.hpp"
#include "tree/characters.hpp"
#include "write/markup_writer.hpp"
#include "write/text_escapes.hpp"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>
#include <optional>

namespace pkg_dbe_xml {

namespace {

// A batch is handed over, or left for the next one, when it has as many cells or bytes.
constexpr std::size_t k_batch_cells = 512;
constexpr std::size_t k_batch_bytes = std::size_t{256} * 1024;

constexpr std::size_t k_shown_characters = 40; // of a path in a report

// A number as words of a report.
struct number_words {
    char bytes[24];
    explicit number_words(std::size_t number) noexcept {
        std::snprintf(bytes, sizeof bytes, "%zu", number);
    }
    operator std::string_view() const noexcept { return bytes; }
};

// Memory that lives as long as the call.
template <class Member> [[nodiscard]] Member *room_for(std::size_t count) {
    return static_cast<Member *>(host::mmgr_memory_alloc_from_controller(
        host::current_memory_context(), (count + 1) * sizeof(Member)));
}

// The text of a node in one piece, where it is kept so; else nothing.
[[nodiscard]] std::optional<std::string_view> kept_text(const xmlNode *node) noexcept {
    if (node->type == XML_ELEMENT_NODE || node->type == XML_ATTRIBUTE_NODE) {
        const xmlNode *const child = node->children;
        if (child == nullptr) {
            return std::string_view();
        }
        if (child->next != nullptr || child->type != XML_TEXT_NODE) {
            return std::nullopt;
        }
        node = child;
    } else if (node->type != XML_TEXT_NODE) {
        return std::nullopt;
    }
    return node->content == nullptr
               ? std::string_view()
               : std::string_view(reinterpret_cast<const char *>(node->content));
}

[[nodiscard]] paths::value_type type_of(const paths::path_code &path) noexcept {
    return path.expressions[path.root].type;
}

// Appends a text as it stands between tags.
void write_as_markup(std::string_view text, text_output &output) {
    growing_array<char, 256> ended;
    ended.reserve(text.size() + 1);
    ended.append(text.data(), text.size());
    ended.push_back('\0');
    write_escaped_text(output, reinterpret_cast<const xmlChar *>(ended.data()),
                       escape_rules::early);
}

} // namespace

// A column as it is read.
struct row_maker::column_reader {
    std::size_t column;
    host::column_form form;
    path_lease code;
    paths::value_type type;
    bool is_plain; // `steps` do for it
    paths::plain_steps steps;
};

struct row_maker::kept_batch {
    kept_batch *next = nullptr;
    host::record_batch rows;
};

// --- arguments ----------------------------------------------------------------------------------

row_maker::row_maker(host::call &call, const package_function &function, row_source source)
    : call_(call), here_(call, function), rows_(call, checked_choice(function)),
      hands_over_early_(source == row_source::own || !rows_.runs_code()) {
    try {
        read_paths();
        bindings_.namespaces = bindings_argument(call, here_, k_namespaces);
        compile_columns();
        rows_.set_sources(paths_);
        begin_batch();
    } catch (...) {
        std::destroy_n(readers_, reader_count_); // gives the paths on loan back
        throw;
    }
}

row_maker::~row_maker() {
    drop_batches();
    std::destroy_n(readers_, reader_count_);
    host::mmgr_free_with_fl(readers_, __FILE__, __LINE__);
}

// Whether texts that do not convert become nulls, once it is known that rows can be given.
bool row_maker::checked_choice(const package_function &function) const {
    for (const int index : {k_row_path, k_columns}) {
        if (call_.is_null(index)) {
            here_.fail(reports::rows_need_paths, index, {function.arguments[index], function.name});
        }
    }
    bool null_on_error = false;
    if (!call_.is_null(k_on_error)) {
        const utf8_argument choice(call_.value(k_on_error));
        const std::string_view word(choice.c_str(), choice.size());
        null_on_error = word == "null";
        if (!null_on_error && word != "error") {
            here_.fail(reports::rows_unknown_choice, k_on_error, {word, "on_error"});
        }
    }
    switch (host::record_set::fault(call_, null_on_error)) {
    case host::records_fault::no_columns:
        report(reports::rows_without_columns);
    case host::records_fault::no_nulls_on_error:
        here_.fail(reports::rows_no_nulls_on_error, k_on_error);
    case host::records_fault::none:
        break;
    }
    return null_on_error;
}

void row_maker::read_paths() {
    const host::text_table table = host::texts_of_array(call_.value(k_columns));
    if (table.fault == host::pairs_fault::shape) {
        here_.fail(reports::rows_paths_shape, k_columns);
    }
    if (table.fault == host::pairs_fault::null_member) {
        here_.fail(reports::rows_path_null, k_columns);
    }
    const std::size_t count = rows_.column_count();
    if (table.rows != count) {
        here_.fail(reports::rows_column_count, k_columns,
                   {number_words(table.rows), number_words(count)});
    }
    const std::size_t texts = table.rows * table.columns;
    auto *const read = room_for<std::string_view>(texts);
    for (std::size_t place = 0; place < texts; ++place) {
        new (read + place) std::string_view(utf8_text(table.members[place]));
    }
    if (table.columns == 2) {
        pair_paths({read, texts});
    } else {
        paths_ = read;
    }
}

// Names and paths in turns. There are as many pairs as columns: when each pair has found a column
// of its own, none is left.
void row_maker::pair_paths(std::span<const std::string_view> pairs) {
    const std::size_t count = pairs.size() / 2;
    paths_ = room_for<std::string_view>(count);
    std::uninitialized_default_construct_n(paths_, count);
    for (std::size_t pair = 0; pair < count; ++pair) {
        const std::string_view name = pairs[2 * pair];
        const std::size_t column = column_named(name);
        if (column == count) {
            here_.fail(reports::rows_unknown_column, k_columns, {name});
        }
        if (paths_[column].data() != nullptr) {
            here_.fail(reports::rows_column_twice, k_columns, {name});
        }
        paths_[column] = pairs[2 * pair + 1];
    }
}

// The place of a column; the number of columns where none has the name.
std::size_t row_maker::column_named(std::string_view name) const {
    std::size_t column = 0;
    while (column < rows_.column_count() && rows_.column_name(column) != name) {
        ++column;
    }
    return column;
}

void row_maker::compile_columns() {
    const std::size_t count = rows_.column_count();
    readers_ = room_for<column_reader>(count);
    while (reader_count_ < count) {
        path_lease code = compile_path(paths_[reader_count_], bindings_);
        const paths::path_code &compiled = code.code();
        const paths::value_type type = type_of(compiled);
        paths::plain_steps steps;
        const bool is_plain = steps.read(compiled);
        new (readers_ + reader_count_) column_reader{
            reader_count_, rows_.form_of(reader_count_), std::move(code), type, is_plain, steps};
        ++reader_count_;
    }
}

path_lease row_maker::path_argument() const {
    path_lease path = compile_path(path_text(), bindings_);
    const paths::value_type type = type_of(path.code());
    if (type != paths::value_type::nodes) {
        constexpr const char *k_names[] = {"nodes", "a number", "a text", "a truth value"};
        here_.fail(reports::rows_path_not_nodes, k_row_path,
                   {k_names[static_cast<std::size_t>(type)]});
    }
    return path;
}

// --- reading ------------------------------------------------------------------------------------

void row_maker::fail_for_many(const column_reader &reader, std::size_t found) const {
    char context[256];
    const std::string_view path = paths_[reader.column];
    const std::size_t shown = std::min(path.size(), skip_characters(path, k_shown_characters));
    std::snprintf(context, sizeof context, "row %zu, path \"%.*s\"", row_, static_cast<int>(shown),
                  path.data());
    report(reports::rows_many_nodes, {rows_.column_name(reader.column), number_words(found)}, {},
           context);
}

void row_maker::add_text_of(column_reader &reader, xmlNodePtr node, path_evaluation *run) {
    host::record_batch &batch = last_->rows;
    if (const std::optional<std::string_view> kept = kept_text(node)) {
        batch.add_text(*kept);
    } else if (run != nullptr) {
        batch.add_text(run->text_of(node));
    } else {
        path_evaluation own(reader.code.code(), node, {});
        batch.add_text(own.text_of(node));
    }
}

// The node as XML: an attribute is its value, anything else its markup.
void row_maker::write_node(xmlNodePtr node, text_output &output) {
    if (node->type != XML_ATTRIBUTE_NODE) {
        write_markup(node, {}, output);
        return;
    }
    path_evaluation own(readers_[0].code.code(), node, {});
    write_as_markup(own.text_of(node), output);
}

// For a column of XML: the markup of the nodes, one behind the other where it holds one value.
void row_maker::add_markup(column_reader &reader, std::span<const xmlNodePtr> nodes) {
    text_output output(longest_value());
    for (std::size_t place = 0; place < nodes.size(); ++place) {
        write_node(nodes[place], output);
        if (reader.form.array || place + 1 == nodes.size()) {
            if (output.overflowed()) {
                report(reports::over_one_gigabyte);
            }
            last_->rows.add_text({output.c_str(), static_cast<std::size_t>(output.size())});
            output.clear();
        }
    }
}

// The cell of a column whose path gives nodes.
void row_maker::add_nodes(column_reader &reader, std::span<const xmlNodePtr> nodes,
                          path_evaluation *run) {
    if (reader.form.markup) {
        add_markup(reader, nodes);
        return;
    }
    if (nodes.size() > 1 && !reader.form.array) {
        fail_for_many(reader, nodes.size());
    }
    for (xmlNodePtr const node : nodes) {
        add_text_of(reader, node, run);
    }
}

void row_maker::read_column(column_reader &reader, xmlNodePtr node) {
    if (reader.is_plain) {
        found_.clear();
        reader.steps.collect(node, found_, polls_);
        add_nodes(reader, {found_.data(), found_.size()}, nullptr);
        return;
    }
    path_evaluation run(reader.code.code(), node, {});
    if (reader.type == paths::value_type::nodes) {
        add_nodes(reader, run.nodes(), &run);
    } else if (reader.type == paths::value_type::truth && reader.form.numeric) {
        last_->rows.add_text(run.truth() ? "1" : "0");
    } else if (reader.form.markup) {
        text_output output(longest_value());
        write_as_markup(run.text(), output);
        last_->rows.add_text({output.c_str(), static_cast<std::size_t>(output.size())});
    } else {
        last_->rows.add_text(run.text());
    }
}

bool row_maker::look_down() const noexcept {
    return std::all_of(readers_, readers_ + reader_count_, [](const column_reader &reader) {
        return !reader.form.markup && (reader.is_plain || paths::looks_down(reader.code.code()));
    });
}

void row_maker::start_over() noexcept {
    begin_document();
    for (kept_batch *batch = first_; batch != nullptr; batch = batch->next) {
        batch->rows.clear();
    }
    rows_.start_over();
    row_ = 0;
}

void row_maker::begin_document() noexcept {
    for (column_reader &reader : std::span(readers_, reader_count_)) {
        reader.steps.forget_names();
    }
}

void row_maker::add(xmlNodePtr node) {
    if (last_->rows.cell_count() >= k_batch_cells || last_->rows.byte_count() >= k_batch_bytes) {
        if (hands_over_early_) {
            rows_.put(last_->rows);
            last_->rows.clear();
        } else {
            begin_batch();
        }
    }
    ++row_;
    for (std::size_t column = 0; column < reader_count_; ++column) {
        last_->rows.begin_cell();
        read_column(readers_[column], node);
    }
}

// --- batches ------------------------------------------------------------------------------------

void row_maker::begin_batch() {
    auto *const made = new (host::mmgr_memory_alloc_from_controller(host::current_memory_context(),
                                                                    sizeof(kept_batch))) kept_batch;
    (last_ == nullptr ? first_ : last_->next) = made;
    last_ = made;
}

void row_maker::drop_batches() noexcept {
    while (first_ != nullptr) {
        kept_batch *const gone = first_;
        first_ = gone->next;
        gone->~kept_batch();
        host::mmgr_free_with_fl(gone, __FILE__, __LINE__);
    }
}

host::datum row_maker::finish() {
    for (const kept_batch *batch = first_; batch != nullptr; batch = batch->next) {
        rows_.put(batch->rows);
    }
    return rows_.finish();
}

} // namespace pkg_dbe_xml
