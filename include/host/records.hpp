// Rows of several columns, whose types the caller of the function chose: texts are converted by the
// types' own input functions and handed over within the call, as rows.hpp does for sets of one
// column.
//
// An input function may be anybody's: it may run SQL, call this library, free what the texts came
// from. So texts are handed over in batches of their own memory, and whoever holds something that
// such a function could free asks `runs_code`, and hands nothing over before it is done reading.
#pragma once

#include "growing_array.hpp"
#include "host/call.hpp"
#include "host/error.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace host {

// Rows of texts, row by row and column by column, in UTF-8. A cell has no text (its value is
// missing), one, or, where the column is an array, several.
class record_batch {
  public:
    // Begins the next cell. Throws when memory runs out.
    void begin_cell() { cells_.push_back({static_cast<std::uint32_t>(pieces_.size()), 0}); }
    // A text of the cell begun last. Throws when memory runs out, and for batches above 1 GiB.
    void add_text(std::string_view text) {
        if (text.size() + 1 >= k_most_bytes - bytes_.size()) {
            raise_out_of_memory(bytes_.size() + text.size());
        }
        bytes_.reserve(bytes_.size() + text.size() + 2);
        bytes_.push_back('\0');
        pieces_.push_back(
            {static_cast<std::uint32_t>(bytes_.size()), static_cast<std::uint32_t>(text.size())});
        bytes_.append(text.data(), text.size());
        bytes_.push_back('\0');
        ++cells_.back().count;
    }
    // Takes back the cells behind the first `count`.
    void shrink(std::size_t count) noexcept { cells_.shrink(count); }
    void clear() noexcept {
        cells_.clear();
        pieces_.clear();
        bytes_.clear();
    }
    [[nodiscard]] std::size_t cell_count() const noexcept { return cells_.size(); }
    [[nodiscard]] std::size_t byte_count() const noexcept { return bytes_.size(); }

    // Number of texts of a cell, and one of them; a zero byte follows each, and before it stands
    // one that the host may overwrite.
    [[nodiscard]] std::size_t text_count(std::size_t cell) const noexcept {
        return cells_[cell].count;
    }
    [[nodiscard]] std::string_view text(std::size_t cell, std::size_t number) const noexcept {
        const piece &found = pieces_[cells_[cell].first + number];
        return {bytes_.begin() + found.start, found.size};
    }

  private:
    static constexpr std::size_t k_most_bytes = std::size_t{1} << 30U;
    struct texts_of_cell {
        std::uint32_t first; // of its pieces
        std::uint32_t count;
    };
    struct piece {
        std::uint32_t start; // in `bytes_`
        std::uint32_t size;
    };
    pkg_dbe_xml::growing_array<texts_of_cell, 64> cells_;
    pkg_dbe_xml::growing_array<piece, 64> pieces_;
    pkg_dbe_xml::growing_array<char, 2048> bytes_;
};

// What a column makes of the texts it is given.
struct column_form {
    bool array;   // any number of them
    bool markup;  // the texts are XML
    bool numeric; // its type is a number's
};

// What keeps a call from giving rows.
enum class records_fault {
    none,
    no_columns,       // the caller listed none
    no_nulls_on_error // the host cannot make nulls of texts that do not convert
};

struct record_state; // the host's

// Rows under way. Ask `fault` first; end the body with `return rows.finish();`.
class record_set {
  public:
    [[nodiscard]] static records_fault fault(const call &frame, bool null_on_error) noexcept;
    // `null_on_error` makes nulls of texts that do not convert. Throws what the host raises.
    record_set(call &frame, bool null_on_error);
    record_set(const record_set &) = delete;
    record_set &operator=(const record_set &) = delete;

    [[nodiscard]] std::size_t column_count() const noexcept;
    [[nodiscard]] column_form form_of(std::size_t column) const noexcept;
    // The name of a column, in UTF-8. Throws what the host raises while converting it.
    [[nodiscard]] std::string_view column_name(std::size_t column) const;
    // Whether converting may run code that is not the server's own.
    [[nodiscard]] bool runs_code() const noexcept;
    // What the columns are read from, for reports: a text for each, in UTF-8, which lives as long
    // as the set. Throws what the host raises while converting them.
    void set_sources(const std::string_view *sources);

    // Converts the rows of a batch, which holds whole ones, and hands them over. Throws what input
    // functions raise, with row, column, source and value as context, and what the host raises when
    // the statement was asked to stop.
    void put(const record_batch &batch);
    // What was handed over does not count; the host forgets it with the next batch.
    void start_over() noexcept;
    // The result of the body. At least one batch, if only an empty one, was handed over.
    [[nodiscard]] datum finish() noexcept;

  private:
    call &frame_;
    record_state *state_; // in the caller's memory
};

} // namespace host
