#pragma once

#include <cstdint>

#include <json/value.h>

#include "platform/videolibrary/CatalogueQuery.h"
#include "platform/videolibrary/CatalogueTables.h"

namespace MediaServer::LibReelhouse {

/// Reads the records that a statement finds, with what they carry beside their own members.
/// @param sql  a SELECT whose first columns are those of the kind; further ones become members too.
/// @param[out] records  an array. @return false after the reason was logged.
bool ReadRecords(const std::string& sql, const Parameters& parameters, std::uint32_t additional, Json::Value& records);

/// The members that a row has, as texts under the names of its columns; "season" and "episode" are numbers.
Json::Value RecordOf(const PGresult* rows, int row);

}  // namespace MediaServer::LibReelhouse
