#pragma once

#include "model/MimeTable.h"

namespace MediaServer {

/// Fills the table from the system's MIME list, then from the custom list of the option file when that is switched on
/// there. Without the system's list the table stays empty, which is logged at level 0.
void LoadMimeTypes(MimeTable& table);

}  // namespace MediaServer
