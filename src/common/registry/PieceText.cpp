#include "common/registry/PieceText.hpp"

#include <algorithm>

#include "common/platform/FileIO.hpp"

namespace velloran {

void PieceText::AppendBase(std::string_view run) {
    if (run.empty()) return;
    const auto at = static_cast<size_t>(run.data() - base_.data());
    if (!pieces_.empty() && !pieces_.back().own && pieces_.back().at + pieces_.back().len == at)
        pieces_.back().len += run.size();
    else
        pieces_.push_back({false, at, run.size()});
    size_ += run.size();
}

void PieceText::Append(std::string_view part) {
    if (part.empty()) return;
    if (!pieces_.empty() && pieces_.back().own &&
        pieces_.back().at + pieces_.back().len == own_.size())
        pieces_.back().len += part.size();
    else
        pieces_.push_back({true, own_.size(), part.size()});
    own_.append(part);
    size_ += part.size();
}

bool PieceText::EndsWith(std::string_view tail) const {
    if (tail.size() > size_) return false;
    for (auto p = pieces_.rbegin(); !tail.empty(); ++p) {
        const size_t n = std::min(p->len, tail.size());
        if (Filled(*p, p->len - n, n) != tail.substr(tail.size() - n)) return false;
        tail.remove_suffix(n);
    }
    return true;
}

void PieceText::Chop(size_t n) {
    n = std::min(n, size_);
    size_ -= n;
    while (n > 0) {
        Piece& last = pieces_.back();
        const size_t cut = std::min(n, last.len);
        last.len -= cut;
        n -= cut;
        if (last.own && last.at + last.len + cut == own_.size()) own_.resize(last.at + last.len);
        if (last.len == 0) pieces_.pop_back();
    }
}

std::string_view PieceText::View(const Piece& p) const {
    return (p.own ? std::string_view(own_) : base_).substr(p.at, p.len);
}

std::string_view PieceText::Filled(const Piece& p, size_t from, size_t n) const {
    if (!p.own) lazy_.Need(p.at + from, n);
    return View(p).substr(from, n);
}

std::vector<std::string_view> PieceText::Pieces() const {
    std::vector<std::string_view> out;
    out.reserve(pieces_.size());
    for (const Piece& p : pieces_) out.push_back(View(p));
    return out;
}

std::string PieceText::Join() const {
    std::string out;
    ReserveFileText(out, size_);
    for (const Piece& p : pieces_) out.append(Filled(p, 0, p.len));
    return out;
}

}  // namespace velloran
