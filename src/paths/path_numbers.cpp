#include "paths/path_numbers.hpp"

#include "paths/path_lexer.hpp"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace pkg_dbe_xml::paths {

namespace {

bool is_digit(char byte) noexcept { return byte >= '0' && byte <= '9'; }

std::string_view without_blanks(std::string_view text) noexcept {
    while (!text.empty() && is_blank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && is_blank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// Digits with at most one point, and at least one digit.
bool is_plain_number(std::string_view text) noexcept {
    std::size_t digits = 0;
    std::size_t points = 0;
    for (const char byte : text) {
        if (is_digit(byte)) {
            ++digits;
        } else if (byte == '.' && points == 0) {
            ++points;
        } else {
            return false;
        }
    }
    return digits != 0;
}

// Up to 15 digits without a point, as most numbers are: exact.
double small_integer(std::string_view digits) noexcept {
    double number = 0;
    for (const char digit : digits) {
        number = number * 10 + (digit - '0');
    }
    return number;
}

double large_number(std::string_view digits) noexcept {
    double number = 0;
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), number,
                                      std::chars_format::fixed);
    if (read.ec != std::errc::result_out_of_range) {
        return number;
    }
    // Too large, or too small to be told from 0: the first digit that is not 0 tells which.
    const std::size_t first = digits.find_first_of("123456789");
    return first < digits.find('.') ? std::numeric_limits<double>::infinity() : 0.0;
}

} // namespace

double number_of_text(std::string_view text) noexcept {
    std::string_view digits = without_blanks(text);
    const bool negative = !digits.empty() && digits.front() == '-';
    if (negative) {
        digits.remove_prefix(1);
    }
    if (!is_plain_number(digits)) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    constexpr std::size_t k_exact_digits = 15;
    const bool small =
        digits.size() <= k_exact_digits && digits.find('.') == std::string_view::npos;
    const double number = small ? small_integer(digits) : large_number(digits);
    return negative ? -number : number;
}

void number_text::assign(std::string_view text) noexcept {
    std::memcpy(bytes_, text.data(), text.size());
    size_ = text.size();
}

number_text::number_text(double number) noexcept : size_(0) {
    if (std::isnan(number)) {
        assign("NaN");
    } else if (std::isinf(number)) {
        assign(number > 0 ? "Infinity" : "-Infinity");
    } else if (number == 0) {
        assign("0"); // negative zero as well
    } else {
        size_ = static_cast<std::size_t>(
            std::to_chars(bytes_, bytes_ + sizeof bytes_, number, std::chars_format::fixed).ptr -
            bytes_);
    }
}

double rounded(double number) noexcept {
    if (number >= -0.5 && number < 0) {
        return -0.0;
    }
    const double below = std::floor(number);
    return number - below >= 0.5 ? below + 1 : number == below ? number : below;
}

} // namespace pkg_dbe_xml::paths
