// Rows of several columns on the standalone host: what the caller of the function said of its
// columns stands in the record of the call, and the rows go there.
#include "host/records.hpp"

#include "session_record.hpp"

#include <string>
#include <vector>

namespace host {

// The record of the call is all there is.
struct record_state : call_record {};

namespace {

constexpr std::size_t k_record = 2; // of call::own_words, set by `invoke`

// Converts the texts of a cell as its column says. Throws what the column's function throws.
record_cell convert(const record_column &column, const record_batch &batch, std::size_t cell) {
    record_cell converted;
    for (std::size_t number = 0; number < batch.text_count(cell); ++number) {
        const std::string text(batch.text(cell, number));
        converted.push_back(column.convert ? column.convert(text) : text);
    }
    return converted;
}

} // namespace

records_fault record_set::fault(const call &frame, bool /*null_on_error*/) noexcept {
    const auto &record = *static_cast<const call_record *>(frame.own_words[k_record]);
    return record.columns.empty() ? records_fault::no_columns : records_fault::none;
}

record_set::record_set(call &frame, bool null_on_error)
    : frame_(frame), state_(static_cast<record_state *>(frame.own_words[k_record])) {
    standalone::fault_point(standalone::service::rows);
    state_->null_on_error = null_on_error;
    state_->records.clear();
}

std::size_t record_set::column_count() const noexcept { return state_->columns.size(); }

column_form record_set::form_of(std::size_t column) const noexcept {
    return state_->columns[column].form;
}

bool record_set::runs_code() const noexcept {
    for (const record_column &column : state_->columns) {
        if (column.convert) {
            return true;
        }
    }
    return false;
}

void record_set::set_sources(const std::string_view * /*sources*/) {
    standalone::fault_point(standalone::service::rows);
}

std::string_view record_set::column_name(std::size_t column) const {
    return state_->columns[column].name;
}

void record_set::put(const record_batch &batch) {
    standalone::fault_point(standalone::service::rows);
    check_for_interrupts();
    const std::vector<record_column> &columns = state_->columns;
    for (std::size_t cell = 0; cell < batch.cell_count();) {
        std::vector<record_cell> row;
        for (std::size_t column = 0; column < columns.size(); ++column, ++cell) {
            row.push_back(convert(columns[column], batch, cell));
        }
        state_->records.push_back(std::move(row));
    }
}

void record_set::start_over() noexcept { state_->records.clear(); }

datum record_set::finish() noexcept { return frame_.null(); }

} // namespace host
