// A table from pointers to values for the audit, which is made anew thousands of times a second: it
// keeps its memory when it is emptied, and an entry is no allocation of its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace sql {

template <class Key, class Value> class pointer_table {
  public:
    struct item {
        Key key;
        Value value;
    };

    // Forgets all items; takes no longer for a table that was large.
    void clear() {
        items_.clear();
        ++round_;
        if (round_ == 0) { // all stamps have been in use
            slots_.assign(slots_.size(), slot{});
            round_ = 1;
        }
    }
    [[nodiscard]] std::size_t size() const { return items_.size(); }
    [[nodiscard]] bool contains(Key key) const { return find(key) != nullptr; }
    // The value of `key`, null when there is none; valid until the next change.
    [[nodiscard]] const Value *find(Key key) const {
        if (items_.empty()) {
            return nullptr;
        }
        const slot &found = slots_[place_of(key)];
        return found.round == round_ ? &items_[found.index].value : nullptr;
    }
    [[nodiscard]] Value *find(Key key) {
        return const_cast<Value *>(std::as_const(*this).find(key));
    }
    // False when `key` is there already; its value stays.
    bool insert(Key key, const Value &value) {
        if (items_.size() * 2 >= slots_.size()) {
            grow();
        }
        slot &found = slots_[place_of(key)];
        if (found.round == round_) {
            return false;
        }
        found = {round_, static_cast<std::uint32_t>(items_.size())};
        items_.push_back({key, value});
        return true;
    }
    void erase(Key key) {
        if (!contains(key)) {
            return;
        }
        const std::size_t place = place_of(key);
        const std::uint32_t index = slots_[place].index;
        close_gap(place);
        if (index + 1 != items_.size()) {
            slots_[place_of(items_.back().key)].index = index;
            items_[index] = items_.back();
        }
        items_.pop_back();
    }
    // Items in the order in which they came in, unless some were erased.
    [[nodiscard]] auto begin() const { return items_.begin(); }
    [[nodiscard]] auto end() const { return items_.end(); }

  private:
    // In use when `round` is the table's.
    struct slot {
        std::uint32_t round = 0;
        std::uint32_t index = 0;
    };

    [[nodiscard]] std::size_t home_of(Key key) const {
        const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(key));
        return static_cast<std::size_t>((address * 0x9E3779B97F4A7C15U) >> 20U) &
               (slots_.size() - 1);
    }
    // Where `key` stands, or where it would.
    [[nodiscard]] std::size_t place_of(Key key) const {
        std::size_t place = home_of(key);
        while (slots_[place].round == round_ && items_[slots_[place].index].key != key) {
            place = (place + 1) & (slots_.size() - 1);
        }
        return place;
    }
    // Moves those items back that would no longer be found when the slot is empty.
    void close_gap(std::size_t gap) {
        const std::size_t mask = slots_.size() - 1;
        for (std::size_t place = (gap + 1) & mask; slots_[place].round == round_;
             place = (place + 1) & mask) {
            const std::size_t home = home_of(items_[slots_[place].index].key);
            if (((place - home) & mask) >= ((place - gap) & mask)) {
                slots_[gap] = slots_[place];
                gap = place;
            }
        }
        slots_[gap].round = 0;
    }
    void grow() {
        slots_.assign(slots_.empty() ? 64 : slots_.size() * 2, slot{});
        for (std::size_t index = 0; index < items_.size(); ++index) {
            slots_[place_of(items_[index].key)] = {round_, static_cast<std::uint32_t>(index)};
        }
    }

    std::vector<item> items_;
    std::vector<slot> slots_; // a power of two of them
    std::uint32_t round_ = 1;
};

} // namespace sql
