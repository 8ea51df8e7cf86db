#pragma once
// A text made of runs of another text and parts of its own. A save of a large file
// that changed in a few places writes it piece by piece, without first copying
// every unchanged byte into one new string.
#include <string>
#include <string_view>
#include <vector>

#include "common/platform/FileText.hpp"

namespace velloran {

class PieceText {
public:
    // `base` must outlive this text and stay unchanged. A base read lazily is
    // given with its FileText: the runs are filled as EndsWith and Join read them
    // (Pieces does not fill them: a writer takes them from the file).
    explicit PieceText(std::string_view base = {}) : base_(base) {}
    explicit PieceText(const FileText& base) : base_(base.View()), lazy_(base) {}

    // A run of the base text: a view into it.
    void AppendBase(std::string_view run);
    void Append(std::string_view part);
    void Append(char c) { Append(std::string_view(&c, 1)); }

    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    bool EndsWith(std::string_view tail) const;
    // Drops the last `n` bytes.
    void Chop(size_t n);

    std::vector<std::string_view> Pieces() const;
    std::string Join() const;

private:
    struct Piece {
        bool own;
        size_t at;
        size_t len;
    };
    std::string_view View(const Piece& p) const;
    // The part [from, from + n) of a piece, filled.
    std::string_view Filled(const Piece& p, size_t from, size_t n) const;

    std::string_view base_;
    FileText lazy_;
    std::string own_;
    std::vector<Piece> pieces_;
    size_t size_ = 0;
};

}  // namespace velloran
