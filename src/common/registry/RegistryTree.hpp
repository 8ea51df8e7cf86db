#pragma once
// The in-memory key tree shared by the memory store and the Wine prefix store.
// Subkeys and values are kept sorted the way Wine sorts them (RegCompareNames), so
// enumerations come out in Wine's order and the Wine writer can walk the tree as is.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "common/platform/FileText.hpp"
#include "common/registry/PieceText.hpp"
#include "common/registry/RegistryStore.hpp"

namespace velloran {

struct RegNodeValue {
    std::u16string name;  // empty = default value
    RegValue value;
};

// A sorted list that is filled the first time anything looks at it: `Owner::Load`
// says from what. Most of a large file's keys and values are never looked at.
template <class Owner, class Item>
class FilledOnFirstLook {
public:
    using Items = std::vector<Item>;
    Items& All() {
        Self().Load();
        return items_;
    }
    const Items& All() const {
        Self().Load();
        return items_;
    }
    std::size_t size() const { return All().size(); }
    bool empty() const { return All().empty(); }
    typename Items::iterator begin() { return All().begin(); }
    typename Items::iterator end() { return All().end(); }
    typename Items::const_iterator begin() const { return All().begin(); }
    typename Items::const_iterator end() const { return All().end(); }
    typename Items::reverse_iterator rbegin() { return All().rbegin(); }
    typename Items::reverse_iterator rend() { return All().rend(); }
    Item& back() { return All().back(); }
    const Item& back() const { return All().back(); }
    Item& operator[](std::size_t i) { return All()[i]; }
    const Item& operator[](std::size_t i) const { return All()[i]; }
    typename Items::iterator insert(typename Items::const_iterator at, Item v) {
        return All().insert(at, std::move(v));
    }
    typename Items::iterator erase(typename Items::const_iterator at) { return All().erase(at); }
    void push_back(Item v) { All().push_back(std::move(v)); }

protected:
    mutable Items items_;

private:
    const Owner& Self() const { return static_cast<const Owner&>(*this); }
};

// A key's values, sorted, default first. Values read from a Wine file are parsed
// only when something asks for them: until then the text of the key's value lines
// waits here, already checked at load.
class RegValueList : public FilledOnFirstLook<RegValueList, RegNodeValue> {
public:
    // Lines of one section's values; the text must outlive this list.
    void AddPending(std::string_view lines) {
        if (first_.empty())
            first_ = lines;
        else
            pending_.push_back(lines);
    }

private:
    friend FilledOnFirstLook<RegValueList, RegNodeValue>;
    void Load() const;
    // A key has one section in nearly every file: its lines need no allocation.
    mutable std::string_view first_;
    mutable std::vector<std::string_view> pending_;
};

// Parses value lines of a Wine file (other lines are passed over) into `items`,
// keeping them sorted; a repeated name replaces the data and keeps its first
// spelling. The lines were checked when the file was read.
void ParseWineValueLines(std::vector<RegNodeValue>& items, std::string_view lines);

struct RegKeyNode;
// Keys read from a file live in their hive's pool (one allocation for many keys
// and their names, freed with the hive's tree); keys made later on the heap.
struct RegKeyRelease {
    void operator()(RegKeyNode* key) const;
};
using RegKeyPtr = std::unique_ptr<RegKeyNode, RegKeyRelease>;

// A key section of a file's text: where it starts, where its content ends, and
// where the next one starts (blank and comment lines between included).
struct RegChunk {
    size_t begin = 0;       // the "[" line
    size_t contentEnd = 0;  // after the section's last line of content
    size_t end = 0;         // before the next section (blank and ";" lines included)
    RegKeyNode* key = nullptr;
    // A section of a file read lazily, whose key may not be made yet.
    std::uint32_t section = 0xFFFFFFFF;
};

// Where the keys of a large file come from when they are made only as something
// looks below their parent: most of a file's keys are never looked at.
class RegKeySource {
public:
    virtual ~RegKeySource() = default;
    // The chunks of the source's text, one for each of its items.
    virtual size_t ChunkCount() const = 0;
    virtual RegChunk ChunkAt(size_t i) const = 0;
    // The direct subkeys of `owner`, in order, from the source's items
    // [first, last), which all lie below `owner`, a key `depth` levels down.
    virtual void MakeSubkeys(RegKeyNode* owner, std::uint32_t first, std::uint32_t last,
                             std::uint32_t depth, std::vector<RegKeyPtr>& out) = 0;
};

// A key's subkeys, sorted. Those of a file read lazily are made the first time
// anything asks for them.
class RegSubkeyList : public FilledOnFirstLook<RegSubkeyList, RegKeyPtr> {
public:
    void SetPending(RegKeySource* source, RegKeyNode* owner, std::uint32_t first,
                    std::uint32_t last, std::uint32_t depth) {
        pending_ = first < last ? source : nullptr;
        owner_ = owner;
        first_ = first;
        last_ = last;
        depth_ = depth;
    }
    // The subkeys made so far, without making any.
    const Items& Made() const { return items_; }
    // A parent with pending subkeys has some: nothing needs making to say so.
    bool empty() const { return !pending_ && items_.empty(); }

private:
    friend FilledOnFirstLook<RegSubkeyList, RegKeyPtr>;
    void Load() const {
        if (!pending_) return;
        RegKeySource* source = std::exchange(pending_, nullptr);
        source->MakeSubkeys(owner_, first_, last_, depth_, items_);
    }
    mutable RegKeySource* pending_ = nullptr;
    RegKeyNode* owner_ = nullptr;
    std::uint32_t first_ = 0;
    std::uint32_t last_ = 0;
    std::uint32_t depth_ = 0;
};

struct RegKeyNode {
    using Value = RegNodeValue;

    RegKeyNode() = default;
    explicit RegKeyNode(std::pmr::memory_resource* pool) : name(pool), pooled(true) {}

    std::pmr::u16string name;
    RegKeyNode* parent = nullptr;
    RegSubkeyList subkeys;
    RegValueList values;
    std::optional<std::u16string> keyClass;
    bool link = false;
    bool deleted = false;
    bool pooled = false;
    // Changed since the file was read or last written: its section is rewritten.
    bool touched = false;
    std::uint64_t modified = 0;  // FILETIME: 100 ns ticks since 1601
    // Scratch for the writer.
    std::int64_t order = -1;
    std::uint32_t emittedIn = 0;  // the render that wrote its section

    // `index` receives the insertion point when the name is missing.
    RegKeyNode* FindSubkey(std::u16string_view n, size_t* index = nullptr) const;
    Value* FindValue(std::u16string_view n, size_t* index = nullptr);
    const Value* FindValue(std::u16string_view n) const;
    // Finds or inserts; a new key keeps the spelling given here.
    RegKeyNode* AddSubkey(std::u16string_view n, std::uint64_t modified);
    Value& SetValue(std::u16string_view n);
};

// Longest names Wine accepts, in UTF-16 units.
inline constexpr size_t kMaxKeyNameUnits = 256;
inline constexpr size_t kMaxValueNameUnits = 16383;
// Windows refuses keys nested deeper than this; every walk of the tree relies on it.
inline constexpr size_t kMaxKeyDepth = 512;

// The current time as a FILETIME.
std::uint64_t RegNowFiletime();

// Memory for the keys of a loaded file, in blocks that grow as needed; a large
// block sits on huge pages where the system allows it, since a file of many keys
// otherwise spends much of its load faulting in small pages.
class KeyBlocks : public std::pmr::memory_resource {
private:
    void* do_allocate(std::size_t bytes, std::size_t align) override;
    void do_deallocate(void* at, std::size_t bytes, std::size_t align) override;
    bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override {
        return this == &other;
    }
    std::vector<std::string> blocks_;
};

// One branch: user.reg or system.reg, or the same in memory. The file fields are
// filled by the Wine reader and used by its writer.
struct RegHive {
    RegHive();
    RegHive(const RegHive&) = delete;
    RegHive& operator=(const RegHive&) = delete;

    // Before the keys: they go first. The reader sizes the pool to the file.
    KeyBlocks blocks;
    std::optional<std::pmr::monotonic_buffer_resource> pool;
    RegKeyPtr root;
    std::vector<RegKeyPtr> removed;  // kept until the next save
    std::vector<RegKeyNode*> touchedKeys;
    bool dirty = false;

    // The file text as read (or last written), cut into the header and one chunk
    // per key section so that untouched sections can be written back verbatim.
    static constexpr std::uint32_t kNoSection = 0xFFFFFFFF;
    using Chunk = RegChunk;
    // The keys of a file read lazily, and those of its sections made so far.
    std::unique_ptr<RegKeySource> keySource;
    std::unordered_map<std::uint32_t, RegKeyNode*> sectionKeys;
    // The chunk's key; nullptr for a section whose key was never made (unchanged).
    RegKeyNode* KeyOf(const Chunk& c) const {
        if (c.key || c.section == kNoSection) return c.key;
        auto it = sectionKeys.find(c.section);
        return it == sectionKeys.end() ? nullptr : it->second;
    }
    // A large file's text is filled from the file as parts are needed: read it
    // through `text.Part` (or `Need` the part first).
    FileText text;
    // The text of the last save until something needs it whole: runs of `text`
    // and the parts the save rendered. `chunks` already describe it.
    std::optional<PieceText> unjoined;
    // Texts replaced by a save: values not parsed yet still point into them.
    std::vector<FileText> retiredTexts;
    size_t headerEnd = 0;
    // On the hive's blocks: a large file has a chunk for each of many keys. A file
    // read lazily has its chunks made from `keySource` when first asked for
    // (`chunksPending`): most loads never save.
    std::pmr::vector<Chunk> chunks{&blocks};
    bool chunksPending = false;
    std::pmr::vector<Chunk>& Chunks();
    // Whether each chunk can still be had from `keySource` as it is: no list made
    // and no save's layout waiting to be applied to one.
    bool ChunksFromSource() const { return chunksPending && pendingLayout.empty(); }
    bool fromFile = false;  // false: a new file, written with a fresh header
    std::string arch;       // "win32", "win64" or empty
    int archLine = 0;
    // The layout of the text last rendered, adopted once it is on disk: runs of
    // `chunks` moved by `shift`, and the sections rendered anew (`count` 0). A large
    // file mostly keeps its chunks, so they are not copied one by one until then.
    struct LayoutRun {
        size_t first = 0;
        size_t count = 0;
        std::ptrdiff_t shift = 0;
        Chunk chunk;
    };
    std::vector<LayoutRun> renderedLayout;
    // A layout adopted while the chunks were still pending: applied to them when
    // they are made, with the size of the text it describes.
    std::vector<LayoutRun> pendingLayout;
    size_t pendingSize = 0;
    // Makes the chunks the runs of `layout` over the present ones describe, in a
    // text of `size` bytes.
    void ApplyLayout(const std::vector<LayoutRun>& layout, size_t size);
    std::uint32_t renders = 0;  // counts the renders, for RegKeyNode::emittedIn
    size_t renderedHeaderEnd = 0;
    size_t renderedSize = 0;

    // Counts the times the hive was cleared (read again): keys from before are gone.
    std::uint64_t reads = 0;

    void Touch(RegKeyNode* key);
    // A key in the pool, for the reader; `ReservePool` first.
    void ReservePool(size_t bytes);
    RegKeyPtr NewKey();
    void Clear();
    // Makes `text` the text of the last save.
    void JoinText();
};

// The store operations over two hives (HKEY_CURRENT_USER and HKEY_LOCAL_MACHINE),
// opening paths through link keys the way Wine does.
class TreeStore : public RegistryStore {
public:
    bool KeyExists(std::uint32_t root, std::string_view path) const override;
    void CreateKey(std::uint32_t root, std::string_view path) override;
    bool DeleteKey(std::uint32_t root, std::string_view path, bool recursive) override;
    std::vector<std::string> EnumerateKeys(std::uint32_t root,
                                           std::string_view path) const override;
    std::vector<RegValueEntry> EnumerateValues(std::uint32_t root,
                                               std::string_view path) const override;
    std::optional<RegValue> ReadValue(std::uint32_t root, std::string_view path,
                                      std::string_view name) const override;
    void WriteValue(std::uint32_t root, std::string_view path, std::string_view name,
                    const RegValue& value) override;
    bool DeleteValue(std::uint32_t root, std::string_view path, std::string_view name) override;
    bool IsDirty() const override { return user_.dirty || machine_.dirty; }

    RegHive& UserHive() { return user_; }
    RegHive& MachineHive() { return machine_; }

protected:
    // Called before any key is looked at: a store that reads its files on first
    // use reads them here (and throws when they cannot be read).
    virtual void BeforeAccess() const {}

    RegHive user_;
    RegHive machine_;

private:
    struct Start {
        RegKeyNode* key;
        std::vector<std::u16string> tokens;
    };
    Start Begin(std::uint32_t root, std::string_view path) const;
    RegKeyNode* FollowLink(RegKeyNode* key, int depth) const;
    // nullptr when some element is missing or a link does not resolve.
    RegKeyNode* Open(std::uint32_t root, std::string_view path, bool followLastLink) const;
    RegKeyNode* OpenOrThrow(std::uint32_t root, std::string_view path) const;
    RegHive& HiveOf(RegKeyNode* key);

    // The key last opened: a task opens the same path for every value it removes.
    // Forgotten at any change to keys or links, and when either hive is read again.
    struct Opened {
        RegKeyNode* key = nullptr;
        std::uint32_t root = 0;
        bool followLastLink = false;
        std::string path;
        std::uint64_t userReads = 0, machineReads = 0;
    };
    mutable Opened opened_;
    void Forget() const { opened_.key = nullptr; }
};

// The tree alone, for tests and for previews that must not touch real data.
class MemoryStore : public TreeStore {
public:
    void Save() override;
    std::string Describe() const override { return "memory"; }
};

}  // namespace velloran
