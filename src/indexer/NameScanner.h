#pragma once

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "platform/text/Text.h"

namespace MediaServer::Names {

/// What stands between the words of a name.
inline constexpr std::string_view kBetween = " ._-";

inline bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Part of a letter or number; bytes above ASCII belong to letters.
inline bool IsWord(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || static_cast<unsigned char>(c) >= 0x80;
}

inline char At(std::string_view text, std::size_t at) {
    return at < text.size() ? text[at] : '\0';
}

inline bool IsOneOf(char c, std::string_view characters) {
    return c != '\0' && characters.find(c) != std::string_view::npos;
}

inline std::string_view Trim(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(kBetween);
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(kBetween) + 1 - begin);
}

/// A step through a name, one pattern after the other; a pattern that does not match leaves it where it is.
class Scanner {
public:
    Scanner(std::string_view text, std::size_t at) : text_(text), at_(at) {}

    std::size_t Position() const { return at_; }
    char Next() const { return At(text_, at_); }

    /// A number of so many digits, and not one more.
    std::optional<std::int32_t> Number(std::size_t least, std::size_t most) {
        std::size_t end = at_;
        while (IsDigit(At(text_, end))) ++end;
        if (end - at_ < least || end - at_ > most) return std::nullopt;
        return Take(end - at_);
    }
    /// A number of exactly so many digits, whatever follows.
    std::optional<std::int32_t> Digits(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            if (!IsDigit(At(text_, at_ + i))) return std::nullopt;
        }
        return Take(count);
    }
    bool Letter(std::string_view either_case) {
        const bool is_next = IsOneOf(Next(), either_case);
        if (is_next) ++at_;
        return is_next;
    }
    /// The first of these that is next, whatever follows.
    bool Word(std::span<const std::string_view> words) {
        const auto word = std::find_if(words.begin(), words.end(), [this](std::string_view candidate) {
            return EqualsIgnoreCase(text_.substr(at_, candidate.size()), candidate);
        });
        if (word == words.end()) return false;
        at_ += word->size();
        return true;
    }
    void Skip(std::string_view characters) {
        while (IsOneOf(Next(), characters)) ++at_;
    }

private:
    std::int32_t Take(std::size_t count) {
        const std::int32_t number = ToInt(text_.substr(at_, count));
        at_ += count;
        return number;
    }

    std::string_view text_;
    std::size_t at_;
};

inline bool IsAmong(std::string_view text, std::span<const std::string_view> words) {
    return std::any_of(words.begin(), words.end(), [&](std::string_view word) { return EqualsIgnoreCase(text, word); });
}

inline bool BeginsWord(std::string_view text, std::size_t at) {
    return at == 0 || !IsWord(text[at - 1]);
}

}  // namespace MediaServer::Names
