#include "common/registry/RegistryTree.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

#include "common/VbError.hpp"
#include "common/platform/FileIO.hpp"

namespace velloran {

namespace {

constexpr std::string_view kSource = "Registry";
constexpr std::u16string_view kLinkValueName = u"SymbolicLinkValue";
constexpr std::u16string_view kRegistryPrefix = u"\\Registry\\";
constexpr int kMaxLinkDepth = 16;

std::string FullName(std::uint32_t root, std::string_view path) {
    std::string s = RootKeyName(root);
    if (!path.empty()) s += "\\" + std::string(path);
    return s;
}

[[noreturn]] void ThrowKeyNotFound(std::uint32_t root, std::string_view path) {
    throw VbError(vbErrInvalidCall, "Registry key not found: " + FullName(root, path),
                  std::string(kSource));
}

void CheckKeyName(std::u16string_view n) {
    if (n.size() > kMaxKeyNameUnits)
        throw VbError(vbErrInvalidCall,
                      "Registry key name longer than 256 characters: " + Utf16ToUtf8(n),
                      std::string(kSource));
}

void MarkDeleted(RegKeyNode* key) {
    key->deleted = true;
    for (auto& sub : key->subkeys) MarkDeleted(sub.get());
}

}  // namespace

std::uint64_t RegNowFiletime() {
    using namespace std::chrono;
    auto ns = duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
    return static_cast<std::uint64_t>(ns / 100) + 116444736000000000ULL;
}

// ---- RegKeyNode ----

RegKeyNode* RegKeyNode::FindSubkey(std::u16string_view n, size_t* index) const {
    // Files are written sorted, so while loading the new name usually goes last.
    if (subkeys.empty() || RegCompareNames(subkeys.back()->name, n) < 0) {
        if (index) *index = subkeys.size();
        return nullptr;
    }
    auto it = std::lower_bound(
        subkeys.begin(), subkeys.end(), n,
        [](const RegKeyPtr& k, std::u16string_view x) { return RegCompareNames(k->name, x) < 0; });
    if (index) *index = static_cast<size_t>(it - subkeys.begin());
    if (it != subkeys.end() && RegNamesEqual((*it)->name, n)) return it->get();
    return nullptr;
}

RegKeyNode::Value* RegKeyNode::FindValue(std::u16string_view n, size_t* index) {
    if (values.empty() || RegCompareNames(values.back().name, n) < 0) {
        if (index) *index = values.size();
        return nullptr;
    }
    auto it = std::lower_bound(
        values.begin(), values.end(), n,
        [](const Value& v, std::u16string_view x) { return RegCompareNames(v.name, x) < 0; });
    if (index) *index = static_cast<size_t>(it - values.begin());
    if (it != values.end() && RegNamesEqual(it->name, n)) return &*it;
    return nullptr;
}

const RegKeyNode::Value* RegKeyNode::FindValue(std::u16string_view n) const {
    return const_cast<RegKeyNode*>(this)->FindValue(n);
}

RegKeyNode* RegKeyNode::AddSubkey(std::u16string_view n, std::uint64_t when) {
    size_t index = 0;
    if (RegKeyNode* k = FindSubkey(n, &index)) return k;
    RegKeyPtr key(new RegKeyNode);
    key->name = n;
    key->parent = this;
    key->modified = when;
    RegKeyNode* raw = key.get();
    subkeys.insert(subkeys.begin() + static_cast<std::ptrdiff_t>(index), std::move(key));
    return raw;
}

RegKeyNode::Value& RegKeyNode::SetValue(std::u16string_view n) {
    size_t index = 0;
    if (Value* v = FindValue(n, &index)) return *v;
    auto it = values.insert(values.begin() + static_cast<std::ptrdiff_t>(index), Value{});
    it->name = n;
    return *it;
}

// ---- RegHive ----

void* KeyBlocks::do_allocate(std::size_t bytes, std::size_t align) {
    // A large block starts on a huge page boundary, so that huge pages cover all of it.
    constexpr std::size_t kHugePage = std::size_t{2} << 20;
    if (bytes >= kHugePage) align = std::max(align, kHugePage);
    std::string& block = blocks_.emplace_back();
    ReserveFileText(block, bytes + align);
    void* at = block.data();
    std::size_t space = bytes + align;
    return std::align(align, bytes, at, space);
}

void KeyBlocks::do_deallocate(void* at, std::size_t bytes, std::size_t) {
    const auto* p = static_cast<const char*>(at);
    std::erase_if(blocks_, [&](const std::string& b) {
        return p >= b.data() && p + bytes <= b.data() + b.capacity();
    });
}

void RegKeyRelease::operator()(RegKeyNode* key) const {
    if (key->pooled)
        key->~RegKeyNode();  // its memory goes with the pool
    else
        delete key;
}

RegHive::RegHive() : root(new RegKeyNode) {}

void RegHive::ReservePool(size_t bytes) {
    pool.reset();
    pool.emplace(std::max<size_t>(bytes, 4096), &blocks);
}

RegKeyPtr RegHive::NewKey() {
    if (!pool) ReservePool(0);
    void* at = pool->allocate(sizeof(RegKeyNode), alignof(RegKeyNode));
    return RegKeyPtr(new (at) RegKeyNode(&*pool));
}

void RegHive::Touch(RegKeyNode* key) {
    if (!key->touched) touchedKeys.push_back(key);
    key->touched = true;
    key->modified = RegNowFiletime();
    dirty = true;
}

void RegValueList::Load() const {
    if (first_.empty()) return;
    // Taken first: parsing runs once, whatever it finds.
    const std::string_view first = std::exchange(first_, {});
    std::vector<std::string_view> more;
    more.swap(pending_);
    ParseWineValueLines(items_, first);
    for (std::string_view lines : more) ParseWineValueLines(items_, lines);
}

void RegHive::Clear() {
    ++reads;
    root.reset(new RegKeyNode);
    removed.clear();
    pool.reset();
    keySource.reset();
    sectionKeys.clear();
    touchedKeys.clear();
    dirty = false;
    text = FileText();
    unjoined.reset();
    retiredTexts.clear();
    headerEnd = 0;
    chunks.clear();
    chunksPending = false;
    pendingLayout.clear();
    fromFile = false;
    arch.clear();
    archLine = 0;
}

std::pmr::vector<RegHive::Chunk>& RegHive::Chunks() {
    if (!chunksPending) return chunks;
    chunksPending = false;
    const size_t n = keySource->ChunkCount();
    chunks.clear();
    chunks.reserve(n);
    for (size_t i = 0; i < n; ++i) chunks.push_back(keySource->ChunkAt(i));
    if (!pendingLayout.empty()) {
        ApplyLayout(pendingLayout, pendingSize);
        pendingLayout.clear();
    }
    return chunks;
}

void RegHive::ApplyLayout(const std::vector<LayoutRun>& layout, size_t size) {
    // In place where no run reads from a place already written, which is how a
    // save usually leaves it: most chunks only move.
    size_t total = 0;
    bool inPlace = true;
    for (const LayoutRun& r : layout) {
        inPlace = inPlace && (r.count == 0 || r.first >= total);
        total += r.count ? r.count : 1;
    }
    inPlace = inPlace && total <= chunks.size();
    std::pmr::vector<Chunk> fresh(&blocks);
    if (!inPlace) fresh.resize(total);
    std::pmr::vector<Chunk>& out = inPlace ? chunks : fresh;
    size_t j = 0;
    for (const LayoutRun& r : layout) {
        if (r.count == 0) {
            out[j++] = r.chunk;
            continue;
        }
        for (size_t i = r.first; i < r.first + r.count; ++i) {
            Chunk c = chunks[i];
            c.begin = static_cast<size_t>(static_cast<std::ptrdiff_t>(c.begin) + r.shift);
            c.contentEnd = static_cast<size_t>(static_cast<std::ptrdiff_t>(c.contentEnd) + r.shift);
            out[j++] = c;
        }
    }
    out.resize(total);
    for (size_t i = 0; i < out.size(); ++i) {
        Chunk& c = out[i];
        c.end = i + 1 < out.size() ? out[i + 1].begin : size;
        c.contentEnd = std::min(c.contentEnd, c.end);
    }
    if (!inPlace) chunks = std::move(fresh);
}

void RegHive::JoinText() {
    if (!unjoined) return;
    std::string joined = unjoined->Join();
    unjoined.reset();
    retiredTexts.push_back(std::move(text));
    text = FileText(std::move(joined));
}

// ---- TreeStore ----

TreeStore::Start TreeStore::Begin(std::uint32_t root, std::string_view path) const {
    BeforeAccess();
    Start s{nullptr, SplitRegPath(path)};
    for (const auto& t : s.tokens) CheckKeyName(t);
    if (s.tokens.size() > kMaxKeyDepth)
        throw VbError(vbErrInvalidCall,
                      "Registry key nested deeper than 512 levels: " + FullName(root, path),
                      std::string(kSource));
    switch (root) {
        case kHKeyCurrentUser:
            s.key = user_.root.get();
            break;
        case kHKeyLocalMachine:
            s.key = machine_.root.get();
            break;
        case kHKeyClassesRoot:
            // The machine-wide classes; Wine merges the user's on top, which no
            // caller here needs.
            s.key = machine_.root.get();
            s.tokens.insert(s.tokens.begin(), {u"Software", u"Classes"});
            break;
        default:
            throw VbError(vbErrInvalidCall,
                          "Registry root not supported here: " + RootKeyName(root),
                          std::string(kSource));
    }
    return s;
}

// A link key stands for the key its SymbolicLinkValue names, a path such as
// \Registry\Machine\System\ControlSet001. Links inside the target are followed in
// turn, at most 16 deep, as Wine does.
RegKeyNode* TreeStore::FollowLink(RegKeyNode* key, int depth) const {
    if (!key || !key->link) return key;
    if (depth > kMaxLinkDepth) return nullptr;
    const RegKeyNode::Value* v = key->FindValue(kLinkValueName);
    if (!v) return nullptr;
    std::u16string target;
    for (size_t i = 0; i + 1 < v->value.data.size(); i += 2)
        target.push_back(static_cast<char16_t>(v->value.data[i] | (v->value.data[i + 1] << 8)));
    if (target.size() <= kRegistryPrefix.size() ||
        RegCompareNames(std::u16string_view(target).substr(0, kRegistryPrefix.size()),
                        kRegistryPrefix) != 0)
        return nullptr;
    std::u16string_view rest = std::u16string_view(target).substr(kRegistryPrefix.size());
    if (rest.empty() || rest.front() == u'\\') return nullptr;

    std::vector<std::u16string_view> tokens;
    for (size_t i = 0; i < rest.size();) {
        size_t j = rest.find(u'\\', i);
        if (j == std::u16string_view::npos) j = rest.size();
        if (j > i) tokens.push_back(rest.substr(i, j - i));
        i = j + 1;
    }
    // Above the two hives there is only Machine and User\S-1-5-21-0-0-0-1000.
    size_t t = 0;
    RegKeyNode* cur = nullptr;
    if (t < tokens.size() && RegNamesEqual(tokens[t], u"Machine")) {
        cur = machine_.root.get();
        t = 1;
    } else if (tokens.size() >= 2 && RegNamesEqual(tokens[0], u"User") &&
               RegNamesEqual(tokens[1], u"S-1-5-21-0-0-0-1000")) {
        cur = user_.root.get();
        t = 2;
    } else {
        return nullptr;
    }
    for (; t < tokens.size(); ++t) {
        cur = cur->FindSubkey(tokens[t]);
        if (!cur) return nullptr;
        cur = FollowLink(cur, depth + 1);
        if (!cur) return nullptr;
    }
    return cur;
}

RegKeyNode* TreeStore::Open(std::uint32_t root, std::string_view path, bool followLastLink) const {
    BeforeAccess();
    Opened& o = opened_;
    if (o.key && o.root == root && o.followLastLink == followLastLink && o.path == path &&
        o.userReads == user_.reads && o.machineReads == machine_.reads)
        return o.key;
    Start s = Begin(root, path);
    RegKeyNode* key = s.key;
    for (size_t i = 0; i < s.tokens.size(); ++i) {
        key = key->FindSubkey(s.tokens[i]);
        if (!key) return nullptr;
        if (i + 1 < s.tokens.size() || followLastLink) {
            key = FollowLink(key, 0);
            if (!key) return nullptr;
        }
    }
    o = {key, root, followLastLink, std::string(path), user_.reads, machine_.reads};
    return key;
}

RegKeyNode* TreeStore::OpenOrThrow(std::uint32_t root, std::string_view path) const {
    RegKeyNode* key = Open(root, path, true);
    if (!key) ThrowKeyNotFound(root, path);
    return key;
}

RegHive& TreeStore::HiveOf(RegKeyNode* key) {
    while (key->parent) key = key->parent;
    return key == user_.root.get() ? user_ : machine_;
}

bool TreeStore::KeyExists(std::uint32_t root, std::string_view path) const {
    return Open(root, path, true) != nullptr;
}

void TreeStore::CreateKey(std::uint32_t root, std::string_view path) {
    Forget();
    Start s = Begin(root, path);
    RegKeyNode* key = s.key;
    size_t i = 0;
    for (; i < s.tokens.size(); ++i) {
        RegKeyNode* sub = key->FindSubkey(s.tokens[i]);
        if (!sub) break;
        key = FollowLink(sub, 0);
        if (!key) ThrowKeyNotFound(root, path);
    }
    if (i == s.tokens.size()) return;
    RegHive& hive = HiveOf(key);
    // Each new level changes its parent, as creating them one by one in Wine does.
    for (; i < s.tokens.size(); ++i) {
        hive.Touch(key);
        key = key->AddSubkey(s.tokens[i], RegNowFiletime());
        hive.Touch(key);
    }
}

bool TreeStore::DeleteKey(std::uint32_t root, std::string_view path, bool recursive) {
    // A link is removed as a link: its target stays.
    RegKeyNode* key = Open(root, path, false);
    if (!key) return false;
    RegKeyNode* parent = key->parent;
    if (!parent)
        throw VbError(vbErrPermissionDenied,
                      "A registry root cannot be deleted: " + FullName(root, path),
                      std::string(kSource));
    if (!key->subkeys.empty() && !recursive)
        throw VbError(vbErrPermissionDenied, "Registry key has subkeys: " + FullName(root, path),
                      std::string(kSource));
    RegHive& hive = HiveOf(parent);
    size_t index = 0;
    parent->FindSubkey(key->name, &index);
    MarkDeleted(key);
    hive.removed.push_back(std::move(parent->subkeys[index]));
    parent->subkeys.erase(parent->subkeys.begin() + static_cast<std::ptrdiff_t>(index));
    hive.removed.back()->parent = nullptr;
    hive.Touch(parent);
    Forget();
    return true;
}

std::vector<std::string> TreeStore::EnumerateKeys(std::uint32_t root, std::string_view path) const {
    const RegKeyNode* key = OpenOrThrow(root, path);
    std::vector<std::string> out;
    out.reserve(key->subkeys.size());
    for (const auto& sub : key->subkeys) out.push_back(Utf16ToUtf8(sub->name));
    return out;
}

std::vector<RegValueEntry> TreeStore::EnumerateValues(std::uint32_t root,
                                                      std::string_view path) const {
    const RegKeyNode* key = OpenOrThrow(root, path);
    std::vector<RegValueEntry> out;
    out.reserve(key->values.size());
    for (const auto& v : key->values) out.push_back({Utf16ToUtf8(v.name), v.value});
    return out;
}

std::optional<RegValue> TreeStore::ReadValue(std::uint32_t root, std::string_view path,
                                             std::string_view name) const {
    const RegKeyNode* key = OpenOrThrow(root, path);
    if (const RegKeyNode::Value* v = key->FindValue(Utf8ToUtf16(name))) return v->value;
    return std::nullopt;
}

void TreeStore::WriteValue(std::uint32_t root, std::string_view path, std::string_view name,
                           const RegValue& value) {
    std::u16string n = Utf8ToUtf16(name);
    if (n.size() > kMaxValueNameUnits)
        throw VbError(vbErrInvalidCall, "Registry value name too long", std::string(kSource));
    RegKeyNode* key = Open(root, path, true);
    if (!key) {
        CreateKey(root, path);
        key = OpenOrThrow(root, path);
    }
    RegKeyNode::Value* existing = key->FindValue(n);
    if (existing && existing->value == value) return;  // no change, no new timestamp
    if (key->link && !(value.type == kRegLink && RegNamesEqual(n, kLinkValueName)))
        throw VbError(vbErrPermissionDenied,
                      "A registry link holds only its target: " + FullName(root, path),
                      std::string(kSource));
    key->SetValue(n).value = value;
    HiveOf(key).Touch(key);
    Forget();  // it may be a link's target
}

bool TreeStore::DeleteValue(std::uint32_t root, std::string_view path, std::string_view name) {
    RegKeyNode* key = OpenOrThrow(root, path);
    size_t index = 0;
    if (!key->FindValue(Utf8ToUtf16(name), &index)) return false;
    if (key->link) Forget();
    key->values.erase(key->values.begin() + static_cast<std::ptrdiff_t>(index));
    HiveOf(key).Touch(key);
    return true;
}

void MemoryStore::Save() {
    for (RegHive* hive : {&user_, &machine_}) {
        for (RegKeyNode* k : hive->touchedKeys) k->touched = false;
        hive->touchedKeys.clear();
        hive->removed.clear();
        hive->dirty = false;
    }
}

}  // namespace velloran
