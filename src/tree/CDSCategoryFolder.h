#pragma once

#include "platform/text/DMSStringBundle.h"
#include "tree/CDSContainer.h"
#include "tree/CategoryDef.h"

namespace MediaServer {

/// The files of one directory tree, walked by their tags. Without categories it lists the files themselves.
/// Threads: Browse may run in several at once; only the separator is mutable after start-up.
class CDSCategoryFolder : public ListEntry, public Categorizable {
public:
    /// @param directory  absolute directory or ":@AllIndexFiles@" for all indexed files of the media kind.
    /// @param strings    labels of unknown values and show-all entries; outlives the node.
    CDSCategoryFolder(MediaKind kind, std::string directory, std::string parent_id, std::string object_id,
                      std::string object_title, ObjectTypeCode code, const DMSStringBundle& strings);

    void AddCategory(const std::string& name, std::int32_t index) override { categories_.Add(name, index); }

private:
    std::int32_t List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) override;

    const std::string directory_;  // empty: all files
    CategoryList categories_;
    const DMSStringBundle& strings_;
};

}  // namespace MediaServer
