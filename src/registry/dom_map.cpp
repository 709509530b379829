// The tables behind the registry: look-up of documents and entries, pages, node ids.
#include "registry/dom_map.hpp"

#include "host/usage.hpp"
#include "libxml/xml.hpp"

#include <algorithm>
#include <bit>

namespace pkg_dbe_xml {
namespace {

constexpr std::uint32_t k_kind_bits = 5;
constexpr std::uint8_t k_kind_mask = (1U << k_kind_bits) - 1;
constexpr std::uint32_t k_first_page_capacity = 4;
// How far back a page looks for one that is alike: a pattern of up to so many handles comes round
// within it.
constexpr std::uint32_t k_neighbours = 8;

void free_memory(void *memory) noexcept { host::mmgr_free_with_fl(memory, __FILE__, __LINE__); }

[[nodiscard]] entry_page *full_page(std::uintptr_t page) noexcept {
    return reinterpret_cast<entry_page *>(page);
}
[[nodiscard]] released_page *packed_page(std::uintptr_t page) noexcept {
    return reinterpret_cast<released_page *>(page & ~k_released_mark);
}

[[nodiscard]] std::size_t piece_bytes(std::size_t piece) noexcept {
    return (k_piece_starts[piece + 1] - k_piece_starts[piece]) * sizeof(XMLHashEntry);
}

void drop_packed_page(std::uintptr_t page) noexcept {
    released_page *const packed = packed_page(page);
    --packed->users;
    if (packed->users == 0) {
        free_of_handles(packed, sizeof(released_page));
    }
}

[[nodiscard]] bool is_alike(const released_page &left, const released_page &right) noexcept {
    return std::equal(std::begin(left.codes), std::end(left.codes), std::begin(right.codes)) &&
           std::equal(std::begin(left.serials), std::end(left.serials), std::begin(right.serials));
}

// A given-back page before page `number` that is just like `packed`, with a user more; 0 when there
// is none near.
[[nodiscard]] std::uintptr_t share_neighbour(const document_entry &document, std::uint32_t number,
                                             const released_page &packed) noexcept {
    const std::uint32_t last = number < k_neighbours ? 0 : number - k_neighbours;
    for (std::uint32_t before = number; before > last; --before) {
        const std::uintptr_t page = document.pages[before - 1];
        if (is_released(page) && is_alike(*packed_page(page), packed)) {
            ++packed_page(page)->users;
            return page;
        }
    }
    return 0;
}

// What a given-back page still knows of a handle.
struct released_handle {
    XMLDomNodeType kind;
    std::uint32_t serial;
};

[[nodiscard]] released_handle read_released(std::uintptr_t page, std::uint32_t node_id) noexcept {
    const released_page *const packed = packed_page(page);
    const std::uint8_t code = packed->codes[node_id % k_page_size];
    return {static_cast<XMLDomNodeType>(code & k_kind_mask), packed->serials[code >> k_kind_bits]};
}

// Number of handles in a given-back page.
[[nodiscard]] std::size_t count_released(std::uintptr_t page) noexcept {
    const released_page *const packed = packed_page(page);
    return static_cast<std::size_t>(
        std::count_if(std::begin(packed->codes), std::end(packed->codes),
                      [](std::uint8_t code) { return (code & k_kind_mask) != 0; }));
}

void grow_page_directory(registry &state, document_entry &document, std::uint32_t number) {
    if (number < document.page_capacity) {
        return;
    }
    const std::uint32_t capacity =
        std::max({k_first_page_capacity, number + 1, document.page_capacity * 2});
    auto *const pages = static_cast<std::uintptr_t *>(
        allocate_for_handles(state.dom_map, capacity * sizeof(std::uintptr_t)));
    std::copy_n(document.pages, document.page_capacity, pages);
    free_of_handles(document.pages, document.page_capacity * sizeof(std::uintptr_t));
    document.pages = pages;
    document.page_capacity = capacity;
}

// Brings the entries of a given-back page back into memory.
void unpack_page(registry &state, document_entry &document, std::uint32_t number) {
    const std::uintptr_t page = document.pages[number];
    auto *const full =
        static_cast<entry_page *>(allocate_in_place(state.dom_map, sizeof(entry_page)));
    const std::uint32_t first_id = (number + 1) * k_page_size;
    for (std::uint32_t index = 0; index < k_page_size; ++index) {
        const released_handle handle = read_released(page, first_id + index);
        XMLHashEntry &entry = full->entries[index];
        if (handle.kind != XMLDomNodeType::none) {
            xml_dom_general_key(document.document_id, first_id + index, handle.serial, entry.key);
            entry.type = XMLEntryType::dom_map;
            entry.kind = handle.kind;
            entry.text = "";
        }
    }
    drop_packed_page(page);
    document.pages[number] = reinterpret_cast<std::uintptr_t>(full);
}

// Index of `serial` in the page's table of serials, entering it; k_serials_per_page when full.
[[nodiscard]] std::size_t serial_index(released_page &packed, std::size_t &count,
                                       std::uint32_t serial) noexcept {
    std::uint32_t *const end = packed.serials + count;
    std::uint32_t *const place = std::find(packed.serials, end, serial);
    const auto index = static_cast<std::size_t>(place - packed.serials);
    if (place == end && count < k_serials_per_page) {
        packed.serials[count] = serial;
        ++count;
    }
    return index;
}

} // namespace

// Leaves the page as it is when their serials are too many or there
// is no memory for the small form: it is only larger then.
void give_page_back(const DomKey &key) noexcept {
    registry &state = *current_registry();
    document_entry &document = *find_document(state, key.document_id());
    const std::uint32_t number = page_number(key.node_id());
    entry_page *const full = full_page(document.pages[number]);
    forget_recent_entries(state);
    released_page packed{};
    std::size_t serial_count = 0;
    std::size_t place = 0; // of the serial seen last: neighbours mostly have the same
    for (std::uint32_t index = 0; index < k_page_size; ++index) {
        const XMLHashEntry &entry = full->entries[index];
        if (entry.kind == XMLDomNodeType::none) {
            continue;
        }
        if (serial_count == 0 || packed.serials[place] != entry.key.serial()) {
            place = serial_index(packed, serial_count, entry.key.serial());
            if (place == k_serials_per_page) {
                return;
            }
        }
        packed.codes[index] = static_cast<std::uint8_t>(
            static_cast<unsigned>(entry.kind) | static_cast<unsigned>(place << k_kind_bits));
    }
    if (const std::uintptr_t shared = share_neighbour(document, number, packed)) {
        document.pages[number] = shared;
        free_of_handles(full, sizeof(entry_page));
        return;
    }
    released_page *kept = nullptr;
    try {
        kept =
            static_cast<released_page *>(allocate_in_place(state.dom_map, sizeof(released_page)));
    } catch (const host::raised &) {
        return;
    }
    packed.users = 1;
    *kept = packed;
    free_of_handles(full, sizeof(entry_page));
    document.pages[number] = reinterpret_cast<std::uintptr_t>(kept) | k_released_mark;
}

void *allocate_for_handles(host::memory_context *context, std::size_t size) {
    if (!host::has_room_for_handles(static_cast<std::int64_t>(size))) [[unlikely]] {
        report(reports::session_memory_full);
    }
    return allocate_in_place(context, size);
}

void *allocate_in_place(host::memory_context *context, std::size_t size) {
    void *const memory = host::mmgr_memory_alloc_zero(context, size);
    host::count_handle_bytes(static_cast<std::int64_t>(size));
    return memory;
}

void free_of_handles(void *memory, std::size_t size) noexcept {
    if (memory != nullptr) {
        free_memory(memory);
        host::count_handle_bytes(-static_cast<std::int64_t>(size));
    }
}

std::size_t handle_bytes_of(const XMLHashEntry &entry) noexcept {
    document_entry &document = *find_document(*current_registry(), entry.key.document_id());
    std::size_t bytes = sizeof(document_entry) + document.page_capacity * sizeof(std::uintptr_t);
    for (std::size_t piece = 0; piece < std::size(document.pieces); ++piece) {
        bytes += document.pieces[piece] == nullptr ? 0 : piece_bytes(piece);
    }
    for (std::uint32_t number = 0; number < document.page_capacity; ++number) {
        const std::uintptr_t page = document.pages[number];
        if (is_released(page)) {
            bytes += sizeof(released_page) / packed_page(page)->users;
        } else {
            bytes += page == 0 ? 0 : sizeof(entry_page);
        }
    }
    for_each_slot(document, [&bytes](const XMLHashEntry &each) { bytes += index_bytes(each); });
    return bytes;
}

document_entry *search_document(registry &state, std::uint32_t document_id) noexcept {
    auto *const found = static_cast<document_entry *>(
        host::hash_search(state.document_map, &document_id, host::hash_action::find, nullptr));
    if (found != nullptr) {
        state.document_cache[document_id % k_document_cache_size] = found;
    }
    return found;
}

document_entry &enter_document(registry &state, std::uint32_t document_id) {
    bool found = false;
    auto *const document = static_cast<document_entry *>(
        host::hash_search(state.document_map, &document_id, host::hash_action::enter, &found));
    if (!found) {
        host::count_handle_bytes(sizeof(document_entry));
        ++host::counts.documents;
        *document = document_entry{};
        document->document_id = document_id;
        document->next_node_id = 1;
    }
    return *document;
}

void drop_document(registry &state, document_entry &document) noexcept {
    xmlNodePtr let_go = nullptr;
    for_each_slot(document, [&state, &let_go](XMLHashEntry &entry) {
        --state.entry_count;
        if (entry.object == nullptr) {
            return;
        }
        if (entry.kind == XMLDomNodeType::node_list) {
            delete_list(entry, let_go);
        } else {
            remove_name(entry);
            let_go_later(let_go, as_node(entry.object));
        }
    });
    let_go_of_all(let_go);
    for (std::size_t piece = 0; piece < std::size(document.pieces); ++piece) {
        free_piece(document, piece);
    }
    for (std::uint32_t number = 0; number < document.page_capacity; ++number) {
        free_page(state, document, number);
    }
    free_of_handles(document.pages, document.page_capacity * sizeof(std::uintptr_t));
    leave_family(document);
    remove_document(state, document);
}

void free_page(registry &state, document_entry &document, std::uint32_t number) noexcept {
    const std::uintptr_t page = document.pages[number];
    if (is_released(page)) {
        state.entry_count -= count_released(page);
        drop_packed_page(page);
    } else {
        free_of_handles(full_page(page), sizeof(entry_page));
    }
    document.pages[number] = 0;
}

void free_piece(document_entry &document, std::size_t piece) noexcept {
    free_of_handles(document.pieces[piece], piece_bytes(piece));
    document.pieces[piece] = nullptr;
}

void remove_document(registry &state, document_entry &document) noexcept {
    leave_transaction(document.lifetime);
    --host::counts.documents;
    forget_recent_entries(state);
    const std::uint32_t document_id = document.document_id;
    state.document_cache[document_id % k_document_cache_size] = nullptr;
    host::hash_search(state.document_map, &document_id, host::hash_action::remove, nullptr);
    host::count_handle_bytes(-static_cast<std::int64_t>(sizeof(document_entry)));
    if (state.entry_count == 0) {
        forget_lists(state);
    }
}

XMLHashEntry &make_slot(registry &state, document_entry &document, std::uint32_t node_id) {
    if (node_id < k_page_size) {
        const std::size_t piece = piece_of(node_id);
        document.pieces[piece] =
            static_cast<XMLHashEntry *>(allocate_for_handles(state.dom_map, piece_bytes(piece)));
        return *find_slot(document, node_id);
    }
    const std::uint32_t number = page_number(node_id);
    grow_page_directory(state, document, number);
    if (document.pages[number] != 0) {
        unpack_page(state, document, number);
    } else {
        auto *const page =
            static_cast<entry_page *>(allocate_for_handles(state.dom_map, sizeof(entry_page)));
        page->open_slots = k_page_size;
        document.pages[number] = reinterpret_cast<std::uintptr_t>(page);
    }
    return *find_slot(document, node_id);
}

XMLHashEntry *find_released(registry &state, const document_entry &document,
                            const DomKey &key) noexcept {
    const std::uint32_t node_id = key.node_id();
    if (node_id < k_page_size || page_number(node_id) >= document.page_capacity ||
        document.pages[page_number(node_id)] == 0) {
        return nullptr;
    }
    const released_handle handle = read_released(document.pages[page_number(node_id)], node_id);
    if (handle.kind == XMLDomNodeType::none) {
        return nullptr;
    }
    XMLHashEntry &entry = state.released_entry;
    entry = XMLHashEntry{};
    xml_dom_general_key(document.document_id, node_id, handle.serial, entry.key);
    entry.type = XMLEntryType::dom_map;
    entry.kind = handle.kind;
    entry.text = "";
    return entry.key == key ? &entry : nullptr;
}

void empty_slot(registry &state, document_entry &document, XMLHashEntry &slot, bool was_settled,
                bool for_reuse) noexcept {
    const DomKey key = slot.key;
    const std::uint32_t node_id = key.node_id();
    slot = XMLHashEntry{};
    recent_entry(state, node_id) = nullptr;
    --state.entry_count;
    if (!for_reuse) {
        if (!was_settled) {
            settle_slot(slot, key);
        }
        return;
    }
    if (was_settled && node_id >= k_page_size) {
        ++full_page(document.pages[page_number(node_id)])->open_slots;
    }
    if (node_id == 0) {
        return; // the document's own id is never handed out
    }
    if (document.last_freed == 0) {
        document.first_freed = node_id;
    } else {
        // The queue runs through the empty slots: each holds the next id in place of its object.
        find_slot(document, document.last_freed)->object =
            std::bit_cast<void *>(static_cast<std::uintptr_t>(node_id));
    }
    document.last_freed = node_id;
    document.next_slot = nullptr;
}

void take_freed_node_id(document_entry &document) noexcept {
    XMLHashEntry *const slot = find_slot(document, document.first_freed);
    document.first_freed = static_cast<std::uint32_t>(std::bit_cast<std::uintptr_t>(slot->object));
    slot->object = nullptr;
    if (document.first_freed == 0) {
        document.last_freed = 0;
    }
}

void reserve_recycled(id_queue &queue) {
    if (queue.count < queue.capacity) {
        return;
    }
    const std::size_t capacity = std::max<std::size_t>(16, queue.capacity * 2);
    auto *const ids = static_cast<std::uint32_t *>(host::mmgr_memory_alloc_from_controller(
        host::u_sess.xmldom_context, capacity * sizeof(std::uint32_t)));
    for (std::size_t index = 0; index < queue.count; ++index) {
        ids[index] = queue.ids[(queue.first + index) % queue.capacity];
    }
    free_memory(queue.ids);
    queue = {ids, 0, queue.count, capacity};
}

void push_recycled(id_queue &queue, std::uint32_t document_id) noexcept {
    queue.ids[(queue.first + queue.count) % queue.capacity] = document_id;
    ++queue.count;
}

void push_recycled_first(id_queue &queue, std::uint32_t document_id) noexcept {
    queue.first = (queue.first + queue.capacity - 1) % queue.capacity;
    queue.ids[queue.first] = document_id;
    ++queue.count;
}

std::uint32_t take_recycled(id_queue &queue) noexcept {
    const std::uint32_t document_id = queue.ids[queue.first];
    queue.first = (queue.first + 1) % queue.capacity;
    --queue.count;
    return document_id;
}

} // namespace pkg_dbe_xml
