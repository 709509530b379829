// Large objects: byte strings of any size that the host keeps under numbers of their own, read and
// written in pieces. Who may do so, and what becomes of it when the transaction fails, is the
// host's affair. All functions but close_large_object throw the host's own errors.
#pragma once

#include <cstddef>
#include <cstdint>

namespace host {

// The number of a large object; 0 is none.
using object_number = std::uint32_t;
inline constexpr object_number k_no_object = 0;

enum class object_use { read, write };

// A new, empty one, owned by the current user.
[[nodiscard]] object_number create_large_object();
// A descriptor of the object, for one use. Throws when there is no such object, or the current user
// may not use it so.
[[nodiscard]] int open_large_object(object_number number, object_use use);
void close_large_object(int descriptor) noexcept;
// In bytes.
[[nodiscard]] std::int64_t large_object_size(int descriptor);
// Reads `length` bytes from `offset` on, fewer only where the object ends; returns how many.
// `length` is at most a piece.
[[nodiscard]] std::size_t read_large_object(int descriptor, std::int64_t offset, char *bytes,
                                            std::size_t length);
// Writes `length` bytes at `offset`, a piece or what became of one when it was converted; the
// object grows as needed.
void write_large_object(int descriptor, std::int64_t offset, const char *bytes, std::size_t length);
// Makes the object `length` bytes long.
void truncate_large_object(int descriptor, std::int64_t length);

// Piece in which large objects are read and written, in bytes: a millisecond's work or two, so that
// a statement that was asked to stop does so soon.
inline constexpr std::int64_t k_object_piece = 0x100000;
// The piece in force: k_object_piece, or less in tests; at least 1.
[[nodiscard]] std::int64_t object_piece() noexcept;

// An open large object; closed at the end.
class large_object {
  public:
    large_object(object_number number, object_use use)
        : descriptor_(open_large_object(number, use)) {}
    ~large_object() { close_large_object(descriptor_); }
    large_object(const large_object &) = delete;
    large_object &operator=(const large_object &) = delete;
    [[nodiscard]] int descriptor() const noexcept { return descriptor_; }

  private:
    int descriptor_;
};

} // namespace host
