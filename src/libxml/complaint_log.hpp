// What a parse complained of, kept for a program that reads it afterwards.
//
// Bounded in number and in bytes. It is written in callbacks of libxml2, and lives in its memory,
// so that it counts with the trees; a complaint that finds no room, or no memory, is counted only.
#pragma once

#include "host/session.hpp"
#include "libxml/xml_service.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace host {

enum class complaint_level : std::uint8_t { warning, error, fatal };

struct logged_complaint {
    complaint_level level;
    bool is_validity; // about the document type, and not about the text
    int line;         // 0: not known
    std::string_view message;
};

class complaint_log {
  public:
    static constexpr std::uint32_t k_most = 1000;
    static constexpr std::size_t k_most_bytes = std::size_t{256} << 10U;

    complaint_log() noexcept = default;
    ~complaint_log() { forget(); }
    complaint_log(const complaint_log &) = delete;
    complaint_log &operator=(const complaint_log &) = delete;

    // Adds one, as a line of text.
    void add(complaint_level level, bool is_validity, int line, std::string_view message) noexcept;
    // Forgets all, or those about the document type.
    void forget() noexcept;
    void forget_validity() noexcept;

    [[nodiscard]] std::uint32_t count() const noexcept { return count_; }
    // How many were not kept.
    [[nodiscard]] std::uint32_t left_out() const noexcept { return left_out_; }
    // The complaint at `place`, 0 for the first, which is moved to the next one.
    [[nodiscard]] logged_complaint read(std::size_t &place) const noexcept;

  private:
    struct head {
        std::int32_t line;
        std::uint16_t size;
        complaint_level level;
        bool is_validity;
    };
    [[nodiscard]] bool reserve(std::size_t bytes) noexcept;
    char *bytes_ = nullptr; // heads, each followed by its message
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
    std::uint32_t count_ = 0;
    std::uint32_t left_out_ = 0;
};

// Where the parse in progress writes its complaints; null where nobody will ask for them.
extern constinit PKG_DBE_XML_SESSION_STORAGE complaint_log *current_log;

// For the parse in progress: notes an error of libxml2's.
void log_complaint(const xmlError &error, bool is_validity, int line) noexcept;

} // namespace host
