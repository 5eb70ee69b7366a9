#include "platform/database/RowFields.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <chrono>
#include <cstring>

namespace MediaServer {
namespace {

// The types that the media tables have (pg_type.dat of the server).
constexpr Oid kInt8 = 20, kInt4 = 23, kFloat4 = 700, kTimestamp = 1114;

template <typename Number>
Number FromNetworkOrder(std::string_view bytes) {
    std::array<char, sizeof(Number)> native{};
    if (bytes.size() == native.size()) {
        if constexpr (std::endian::native == std::endian::little)
            std::reverse_copy(bytes.begin(), bytes.end(), native.begin());
        else
            std::copy(bytes.begin(), bytes.end(), native.begin());
    }
    return std::bit_cast<Number>(native);
}

/// As the server would write it: "2015-01-02 03:04:05", perhaps with a fraction. Empty outside the years 1 to 9999.
std::string TimestampText(std::int64_t microseconds) {
    using namespace std::chrono;
    constexpr sys_days kEpoch{year{2000} / 1 / 1}, kFirst{year{1} / 1 / 1}, kEnd{year{10000} / 1 / 1};
    const auto time = std::chrono::microseconds(microseconds);
    if (time < kFirst - kEpoch || time >= kEnd - kEpoch) return {};
    const sys_days day = floor<days>(kEpoch + time);
    const year_month_day date(day);
    const hh_mm_ss clock(kEpoch + time - day);
    std::string text;
    const auto add = [&text](char before, unsigned number, unsigned unit) {
        if (before != '\0') text.push_back(before);
        for (; unit > 0; unit /= 10) text.push_back(static_cast<char>('0' + number / unit % 10));
    };
    add('\0', static_cast<unsigned>(static_cast<int>(date.year())), 1000);
    add('-', static_cast<unsigned>(date.month()), 10);
    add('-', static_cast<unsigned>(date.day()), 10);
    add(' ', static_cast<unsigned>(clock.hours().count()), 10);
    add(':', static_cast<unsigned>(clock.minutes().count()), 10);
    add(':', static_cast<unsigned>(clock.seconds().count()), 10);
    if (const auto fraction = clock.subseconds().count(); fraction != 0)
        add('.', static_cast<unsigned>(fraction), 100000);
    return text;
}

}  // namespace

void Store(const Field& field, std::string& value) {
    if (field.type == kTimestamp)
        value = TimestampText(FromNetworkOrder<std::int64_t>(field.bytes));
    else
        value.assign(field.bytes);
}

template <typename Number>
void Store(const Field& field, Number& value) {
    switch (field.type) {
        case kInt4:
            value = static_cast<Number>(FromNetworkOrder<std::int32_t>(field.bytes));
            break;
        case kInt8:
            value = static_cast<Number>(FromNetworkOrder<std::int64_t>(field.bytes));
            break;
        case kFloat4:
            value = static_cast<Number>(FromNetworkOrder<float>(field.bytes));
            break;
        default:
            value = 0;
            std::from_chars(field.bytes.data(), field.bytes.data() + field.bytes.size(), value);
    }
}

template void Store(const Field& field, std::int32_t& value);
template void Store(const Field& field, std::uint32_t& value);
template void Store(const Field& field, std::int64_t& value);
template void Store(const Field& field, float& value);

Field FieldOf(const PGresult* rows, int row, int column) {
    if (column < 0) return {};
    return {{PQgetvalue(rows, row, column), static_cast<std::size_t>(PQgetlength(rows, row, column))},
            PQfformat(rows, column) == 0 ? Oid{0} : PQftype(rows, column)};
}

int FindColumn(const PGresult* rows, const char* name) {
    const int columns = PQnfields(rows);
    for (int column = 0; column < columns; ++column) {
        if (std::strcmp(PQfname(rows, column), name) == 0) return column;
    }
    return -1;
}

}  // namespace MediaServer
