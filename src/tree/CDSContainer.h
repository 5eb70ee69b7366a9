#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "model/CDSObjectSerializer.h"
#include "model/ObjectTypes.h"

namespace MediaServer {

enum class BrowseFlag : int { Metadata = 0, DirectChildren = 1 };

/// Bits of the browse options word.
namespace BrowseOption {
inline constexpr std::uint32_t kNoOrder = 1;         ///< no ORDER BY on category item lists
inline constexpr std::uint32_t kNoShowAll = 2;       ///< no show-all entries
inline constexpr std::uint32_t kFakeChildCount = 4;  ///< child containers carry the placeholder child count 1000
}  // namespace BrowseOption

inline constexpr std::int32_t kPlaceholderChildCount = 1000;
/// Negated UPnP error code of an unknown object (UPnP ContentDirectory:1, 2.7.4.5).
inline constexpr std::int32_t kNoSuchObject = -701;
/// Negated "Action Failed" (UPnP Device Architecture 1.0, 3.2.2): the database did not answer.
inline constexpr std::int32_t kActionFailed = -501;

/// One Browse as a node sees it. The separators belong to the requesting client and travel with the request, so two
/// clients with different separators never disturb each other. The views outlive the Browse.
struct BrowseQuery {
    std::string_view object_id;  ///< the whole requested identifier
    std::string_view sub_id;     ///< what follows its first separator, empty if none
    BrowseFlag flag = BrowseFlag::DirectChildren;
    std::uint32_t filter_mask = 0;
    std::uint32_t options = 0;              ///< BrowseOption bits
    std::int32_t start = 0;                 ///< index of the first child wanted, from zero
    std::int32_t count = 0;                 ///< most children to write; 0 means all
    std::string_view separator = {};        ///< empty: the one that SetSeparator gave the node
    std::string_view inner_separator = {};  ///< empty: the one that goes with the separator

    /// Child count of a listed container that is not counted: the placeholder when asked for, else -1 (not written).
    std::int32_t ListedChildCount() const {
        return (options & BrowseOption::kFakeChildCount) != 0 ? kPlaceholderChildCount : -1;
    }
};

/// A container of the menu tree with static children.
/// Ownership: children are owned by the ContentDirectoryService that built them; the list only refers to them.
/// Threads: built at start-up, read-only afterwards; Browse runs on many threads at once.
class CDSContainer : public CDSObject {
public:
    using CDSObject::CDSObject;

    void AddChild(CDSObject* child);
    const std::vector<CDSObject*>& Children() const { return children_; }

    /// Writes the container itself or one page of its children.
    /// @param[out] total  number of children in all (1 for metadata); untouched where the class says so.
    /// @return objects written, or a negated UPnP error code: an identifier that no object of this kind can have
    ///         (-701), a database that does not answer (-501). A row that is gone writes nothing and is no error.
    virtual std::int32_t Browse(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total);

private:
    std::vector<CDSObject*> children_;
};

/// A node of a menu that identifiers can name.
class CDSMenuEntry : public CDSContainer {
public:
    using CDSContainer::CDSContainer;

    /// Replaces the index locations (folder path to display name) of a node that has them.
    virtual void SetIndexLocations(const std::map<std::string, std::string>& locations);
    /// Separator for queries that do not carry one; no Browse of a client depends on it.
    virtual void SetSeparator(std::string_view separator);
};

/// A menu entry that finds its children when it is asked. Queries that carry no separator are given the entry's own:
/// "$" until it is set. Threads: any.
class ListEntry : public CDSMenuEntry {
public:
    using CDSMenuEntry::CDSMenuEntry;

    std::int32_t Browse(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) final;
    void SetSeparator(std::string_view separator) final;

private:
    /// As Browse, of a query with both its separators.
    virtual std::int32_t List(const BrowseQuery& query, CDSObjectSerializer& out, std::int32_t& total) = 0;

    std::mutex separator_mutex_;
    std::string separator_ = "$";  // guarded by separator_mutex_
};

/// Nodes that take category levels.
class Categorizable {
public:
    virtual ~Categorizable() = default;
    /// Appends a level. @param name  of the category table of the node's media kind; another one is ignored.
    /// @param index  0 for a level of values, anything else for a level of initial letters.
    virtual void AddCategory(const std::string& name, std::int32_t index) = 0;
};

}  // namespace MediaServer
