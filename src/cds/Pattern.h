#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

namespace MediaServer {

/// A regular expression, compiled once. The work for one match is bounded, whatever the text.
/// Threads: any, at once; each has Matches of its own.
class Pattern {
public:
    /// @param text  a pattern of this program; a wrong one ends it.
    explicit Pattern(std::string_view text);

private:
    friend class Matches;
    struct CodeDeleter {
        void operator()(pcre2_code* code) const noexcept { pcre2_code_free(code); }
    };
    std::unique_ptr<pcre2_code, CodeDeleter> code_;
};

/// The matches of a pattern in a text, one after another. The pattern and the text outlive it.
class Matches {
public:
    enum class Result { Found, End, TooHard };

    Matches(const Pattern& pattern, std::string_view text);

    /// Looks from the end of the match before.
    Result Next();
    /// Of the match found last; group 0 is all of it, one that took no part is empty.
    std::string_view Group(std::size_t number) const;
    /// What stands between the match before, or the start of the text, and this one.
    std::string_view Gap() const { return text_.substr(gap_, start_ - gap_); }
    /// What stands behind the match found last.
    std::string_view Rest() const { return text_.substr(end_); }

private:
    struct DataDeleter {
        void operator()(pcre2_match_data* data) const noexcept { pcre2_match_data_free(data); }
    };
    struct ContextDeleter {
        void operator()(pcre2_match_context* context) const noexcept { pcre2_match_context_free(context); }
    };

    const Pattern& pattern_;
    const std::string_view text_;
    std::unique_ptr<pcre2_match_data, DataDeleter> data_;
    std::unique_ptr<pcre2_match_context, ContextDeleter> context_;
    std::size_t gap_ = 0, start_ = 0, end_ = 0;
};

}  // namespace MediaServer
