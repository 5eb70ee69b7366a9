#include "cds/Pattern.h"

#include <cstdlib>
#include <new>

namespace MediaServer {

namespace {

/// Steps that one match may take; real criteria need some hundred.
constexpr std::uint32_t kMostSteps = 200'000;

}  // namespace

Pattern::Pattern(std::string_view text) {
    int error = 0;
    PCRE2_SIZE offset = 0;
    code_.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), 0, &error, &offset, nullptr));
    if (!code_) std::abort();
    // Without support for the processor it is interpreted, only slower.
    pcre2_jit_compile(code_.get(), PCRE2_JIT_COMPLETE);
}

Matches::Matches(const Pattern& pattern, std::string_view text)
    : pattern_(pattern),
      text_(text),
      data_(pcre2_match_data_create_from_pattern(pattern.code_.get(), nullptr)),
      context_(pcre2_match_context_create(nullptr)) {
    if (!data_ || !context_) throw std::bad_alloc();
    pcre2_set_match_limit(context_.get(), kMostSteps);
    pcre2_set_heap_limit(context_.get(), 1024);  // KiB
}

Matches::Result Matches::Next() {
    const int groups = pcre2_match(pattern_.code_.get(), reinterpret_cast<PCRE2_SPTR>(text_.data()), text_.size(), end_,
                                   PCRE2_NOTEMPTY, data_.get(), context_.get());
    if (groups == PCRE2_ERROR_NOMATCH) return Result::End;
    if (groups < 0) return Result::TooHard;
    const PCRE2_SIZE* const ends = pcre2_get_ovector_pointer(data_.get());
    gap_ = end_;
    start_ = ends[0];
    end_ = ends[1];
    return Result::Found;
}

std::string_view Matches::Group(std::size_t number) const {
    const PCRE2_SIZE* const ends = pcre2_get_ovector_pointer(data_.get());
    if (number >= pcre2_get_ovector_count(data_.get()) || ends[2 * number] == PCRE2_UNSET) return {};
    return text_.substr(ends[2 * number], ends[2 * number + 1] - ends[2 * number]);
}

}  // namespace MediaServer
