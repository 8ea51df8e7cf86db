#pragma once
// 16-bit semantics the behaviour depends on: counts overflow at 32767 with error 6,
// and Booleans written by the program are all bits set.
#include <cstdint>
#include <limits>
#include <memory>

#include "common/VbError.hpp"

namespace velloran {

using VbBool = std::int16_t;
inline constexpr VbBool vbTrue = -1;
inline constexpr VbBool vbFalse = 0;
inline constexpr VbBool ToVb(bool b) { return b ? vbTrue : vbFalse; }
// Anything non-zero is not False; only all-bits-set is True.
inline constexpr bool IsTrue(VbBool b) { return b == vbTrue; }

// A signed 16-bit integer whose arithmetic raises "Overflow" instead of wrapping.
class Int16 {
public:
    constexpr Int16() = default;
    constexpr Int16(int v) : v_(Check(v)) {}                // NOLINT(google-explicit-constructor)
    constexpr operator std::int16_t() const { return v_; }  // NOLINT
    constexpr Int16& operator+=(int d) {
        v_ = Check(int{v_} + d);
        return *this;
    }
    constexpr Int16& operator++() { return *this += 1; }

private:
    static constexpr std::int16_t Check(int v) {
        if (v < std::numeric_limits<std::int16_t>::min() ||
            v > std::numeric_limits<std::int16_t>::max())
            throw VbError::Overflow();
        return static_cast<std::int16_t>(v);
    }
    std::int16_t v_ = 0;
};

// Dereference an object member that may have been released by a re-entrant Cancel:
// a released object is error 91, as a call on Nothing would be.
template <class T>
T& Require(const std::shared_ptr<T>& p) {
    if (!p) throw VbError::ObjectNotSet();
    return *p;
}

// Message box styles and answers used across the program.
enum MsgBoxStyle : int {
    vbOKOnly = 0,
    vbOKCancel = 1,
    vbYesNoCancel = 3,
    vbYesNo = 4,
    vbCritical = 16,
    vbQuestion = 32,
    vbExclamation = 48,
    vbInformation = 64,
};
enum MsgBoxResult : int { vbOK = 1, vbCancel = 2, vbYes = 6, vbNo = 7 };

}  // namespace velloran
