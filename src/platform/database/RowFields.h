#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <libpq-fe.h>

namespace MediaServer {

// Values of rows that came as text or in the server's binary forms.

/// A value as the server sent it; valid as long as the rows.
struct Field {
    std::string_view bytes;
    Oid type = 0;  ///< of a binary value; 0 for text
};

/// @param column  -1 for one that the rows lack, whose value is empty.
Field FieldOf(const PGresult* rows, int row, int column);

/// Column of that exact name, or -1. PQfnumber would allocate a folded copy of the name for each field of each row.
int FindColumn(const PGresult* rows, const char* name);

/// A time becomes text as the server would write it.
void Store(const Field& field, std::string& value);
/// 0 for what is no number. Number is std::int32_t, std::uint32_t, std::int64_t or float.
template <typename Number>
void Store(const Field& field, Number& value);

}  // namespace MediaServer
