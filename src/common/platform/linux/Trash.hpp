#pragma once
// The freedesktop.org trash: the home trash ($XDG_DATA_HOME/Trash) and, on other
// volumes, $topdir/.Trash/$uid (only when .Trash is a real folder with the sticky
// bit) or else $topdir/.Trash-$uid. This is what the recycle bin becomes on Linux.
#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/platform/linux/UniqueFd.hpp"

namespace velloran::linuxfs {

struct TrashDir {
    std::string path;    // the trash folder (holds files/ and info/)
    std::string topdir;  // the volume's mount point; empty for the home trash
    bool home = false;
};

struct TrashedItem {
    TrashDir dir;
    std::string name;          // name under files/ (and info/NAME.trashinfo)
    std::string originalPath;  // absolute path the item had
};

struct TrashInfo {
    std::string path;          // decoded, as written (relative for volume trashes)
    std::string deletionDate;  // as written
};

class Trash {
public:
    // The current user's trash, volumes from the mount table.
    Trash();
    // An explicit home trash, user id and volume mount points (tests, other users).
    Trash(std::string homeTrash, uid_t uid, std::vector<std::string> volumes);

    const std::string& HomeTrash() const { return home_; }

    // Moves a file, link or folder (never following a link) into the trash of its
    // volume: the home trash when it lives on the home trash's file system,
    // otherwise the volume's trash. The .trashinfo file is created first, with
    // O_EXCL, under a name that no other item uses. Errors (VbError): 53 when the
    // path does not exist, 70 when it may not be moved, 75 when its volume has no
    // usable trash (the item is left where it is, never deleted).
    TrashedItem MoveToTrash(const std::string& path);
    // Moves an item back to the path its info records. 58 when that path exists.
    void Restore(const TrashDir& dir, const std::string& name);

    // Trash folders of this user that exist: the home trash first.
    std::vector<TrashDir> TrashDirs() const;
    // Items (entries of files/) over all trash folders.
    std::uint64_t CountItems() const;
    // Bytes used by the items, links not followed.
    std::uint64_t Size() const;
    struct EmptyResult {
        std::uint64_t removed = 0;
        std::vector<std::string> failed;  // entries that could not be removed
    };
    // Erases every item of every trash folder of this user: files/ entries
    // (recursively, never following links, never leaving the trash's file
    // system), their info files, orphaned info files and directorysizes lines.
    EmptyResult Empty();

    static std::string PercentEncode(std::string_view bytes);
    static std::string PercentDecode(std::string_view text);
    // Parses a .trashinfo text; nullopt when it is not one.
    static std::optional<TrashInfo> ParseInfo(const std::string& text);
    static std::optional<TrashInfo> ReadInfo(const TrashDir& dir, const std::string& name);

private:
    // A trash folder and its files/ and info/, all open; empty when it is not
    // this user's or a link is met on the way.
    struct OpenedTrash {
        UniqueFd root, files, info;
        explicit operator bool() const { return static_cast<bool>(root); }
    };
    OpenedTrash Open(const TrashDir& dir) const;
    std::optional<TrashDir> VolumeTrash(const std::string& topdir, bool create) const;
    // The trash a file of `realDir` on `device` goes to, made when missing.
    TrashDir TrashFor(const std::string& path, const std::string& realDir, dev_t device) const;
    // Creates and writes the first free "<name>[.N].trashinfo"; `claimed` gets the
    // entry's name in files/. Empty when every name is taken.
    UniqueFd ClaimName(const OpenedTrash& opened, const TrashDir& target, std::string name,
                       const std::string& info, std::string& claimed) const;
    // Adds a trashed folder's line to directorysizes.
    void RecordFolderSize(const OpenedTrash& opened, const UniqueFd& info, const std::string& name,
                          dev_t device) const;

    std::string home_;
    uid_t uid_;
    std::vector<std::string> volumes_;
};

}  // namespace velloran::linuxfs
