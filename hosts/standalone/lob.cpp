// Large values of the standalone host: kept in pages of the machine or described by a pattern, so
// that sizes of several gigabytes cost only what is read.
#include "host/lob.hpp"

#include "stored_value.hpp"

#include <sys/mman.h>

namespace host {

using standalone::current_session;

namespace {

const standalone::large_object &object_of(datum value) noexcept {
    if (!is_large_value(value)) {
        standalone::misuse("a value that is not large read in slices");
    }
    return *static_cast<const standalone::large_object *>(standalone::read_pointer(value).target);
}

} // namespace

std::int64_t tupleam_get_toast_size_raw(datum value) {
    return object_of(value).size + static_cast<std::int64_t>(k_long_header);
}

varlena *tupleam_detoast_slice_value(datum value, std::int64_t offset, std::int64_t length) {
    standalone::fault_point(standalone::service::slice);
    if (standalone::fault_due(standalone::service::missing_slice)) {
        return nullptr;
    }
    const standalone::large_object &object = object_of(value);
    const std::int64_t first = std::clamp<std::int64_t>(offset, 0, object.size);
    const std::int64_t count = std::clamp<std::int64_t>(length, 0, object.size - first);
    auto *slice =
        static_cast<varlena *>(allocate_result(static_cast<std::size_t>(count) + k_long_header));
    set_total_size(slice, static_cast<std::size_t>(count) + k_long_header);
    standalone::copy_bytes_of(object, first, count,
                              reinterpret_cast<char *>(slice) + k_long_header);
    return slice;
}

std::int64_t piece_size() noexcept { return current_session().piece_size; }

namespace standalone {

namespace {

// Copies the part of `text`, which stands at `place` in the value, that lies in the slice.
void copy_part(std::string_view text, std::int64_t place, std::int64_t offset, std::int64_t length,
               char *destination) noexcept {
    const std::int64_t from = std::max(place, offset);
    const std::int64_t to =
        std::min(place + static_cast<std::int64_t>(text.size()), offset + length);
    if (from < to) {
        std::memcpy(destination + (from - offset), text.data() + (from - place),
                    static_cast<std::size_t>(to - from));
    }
}

// A pointer to the object, which belongs to the session from here on.
datum point_at(std::unique_ptr<large_object> object) {
    session &own = current_session();
    const value_pointer pointer{1, k_large_tag, {}, object.get()};
    void *place = mmgr_memory_alloc_from_controller(current_memory_context(), sizeof pointer);
    std::memcpy(place, &pointer, sizeof pointer);
    own.large_objects.push_back(object.get());
    static_cast<void>(object.release());
    return from_pointer(place);
}

void check_size(std::int64_t size, std::string_view beginning, std::string_view end) noexcept {
    if (size < static_cast<std::int64_t>(beginning.size() + end.size())) {
        misuse("a large value smaller than its parts");
    }
}

} // namespace

void copy_bytes_of(const large_object &object, std::int64_t offset, std::int64_t length,
                   char *destination) noexcept {
    if (length == 0) {
        return;
    }
    if (object.mapped != nullptr) {
        std::memcpy(destination, object.mapped + offset, static_cast<std::size_t>(length));
        return;
    }
    std::memset(destination, object.fill, static_cast<std::size_t>(length));
    copy_part(object.beginning, 0, offset, length, destination);
    copy_part(object.end, object.size - static_cast<std::int64_t>(object.end.size()), offset,
              length, destination);
}

datum make_large_text(std::string_view bytes) {
    return make_filled_large_text(static_cast<std::int64_t>(bytes.size()), bytes, '\0', "");
}

datum make_sparse_large_text(std::int64_t size, std::string_view beginning, std::string_view end) {
    check_size(size, beginning, end);
    auto object = std::make_unique<large_object>(large_object{size, nullptr, "", "", '\0'});
    void *pages = mmap(nullptr, static_cast<std::size_t>(size), PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (pages == MAP_FAILED) {
        raise_out_of_memory(static_cast<std::size_t>(size));
    }
    auto *bytes = static_cast<char *>(pages);
    std::memcpy(bytes, beginning.data(), beginning.size());
    std::memcpy(bytes + static_cast<std::size_t>(size) - end.size(), end.data(), end.size());
    object->mapped = bytes;
    return point_at(std::move(object));
}

datum make_filled_large_text(std::int64_t size, std::string_view beginning, char fill,
                             std::string_view end) {
    check_size(size, beginning, end);
    return point_at(std::make_unique<large_object>(
        large_object{size, nullptr, std::string(beginning), std::string(end), fill}));
}

void free_large_objects(session &owner) noexcept {
    for (large_object *object : owner.large_objects) {
        if (object->mapped != nullptr) {
            munmap(const_cast<char *>(object->mapped), static_cast<std::size_t>(object->size));
        }
        delete object;
    }
    owner.large_objects.clear();
}

} // namespace standalone
} // namespace host
