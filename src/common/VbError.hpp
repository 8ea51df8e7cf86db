#pragma once
// A failing operation raises a VbError carrying Visual Basic's error number and text
// where one fits, so that reports read the same on every platform. Every number the
// program raises is named here, and every standard text is in VbError.cpp: code
// raises errors through the named constructors below, never with a bare number.
#include <stdexcept>
#include <string>

namespace velloran {

enum VbErrorNumber : int {
    vbErrInvalidCall = 5,
    vbErrOverflow = 6,
    vbErrSubscript = 9,
    vbErrTypeMismatch = 13,
    vbErrInternal = 51,  // a failure with no number of its own
    vbErrFileNotFound = 53,
    vbErrDeviceIO = 57,
    vbErrFileExists = 58,
    vbErrDiskFull = 61,
    vbErrPermissionDenied = 70,
    vbErrPathFileAccess = 75,
    vbErrPathNotFound = 76,
    vbErrObjectNotSet = 91,
    vbErrBadFileFormat = 321,
    vbErrNoSuchControl = 340,
    vbErrInvalidPropertyValue = 380,
    vbErrKeyInUse = 457,
    vbErrIndexOutOfBounds = 35600,
    vbErrElementNotFound = 35601,
    vbErrKeyNotUnique = 35602,
};

class VbError : public std::runtime_error {
public:
    // An error whose text is its own (a registry key that is missing, a file in a
    // format that cannot be read); the standard kinds have named constructors.
    VbError(VbErrorNumber number, std::string description, std::string source = kDefaultSource)
        : std::runtime_error(description),
          number_(number),
          description_(std::move(description)),
          source_(std::move(source)) {}

    // The standard text, then ": " and `subject` when one is given.
    static VbError InvalidCall(const std::string& subject = {});
    static VbError FileNotFound(const std::string& subject = {});
    static VbError DeviceIO(const std::string& subject = {});
    static VbError FileExists(const std::string& subject = {});
    static VbError DiskFull(const std::string& subject = {});
    static VbError PermissionDenied(const std::string& subject = {});
    static VbError PathFileAccess(const std::string& subject = {});
    static VbError PathNotFound(const std::string& subject = {});
    // The standard text alone.
    static VbError Overflow();
    static VbError SubscriptOutOfRange();
    static VbError TypeMismatch();
    static VbError ObjectNotSet();
    static VbError InvalidPropertyValue();
    static VbError KeyInUse();
    static VbError IndexOutOfBounds();
    static VbError ElementNotFound();
    static VbError KeyNotUnique();
    static VbError NoSuchControl(int index);
    // A file that cannot be read as what it should be; `why` says where and why.
    static VbError BadFileFormat(const std::string& why);

    // The same error raised by `source` (the report's "Source" line).
    VbError From(std::string source) const {
        VbError e = *this;
        e.source_ = std::move(source);
        return e;
    }

    int Number() const { return number_; }
    const std::string& Description() const { return description_; }
    const std::string& Source() const { return source_; }

    // The standard text for a number, as the reports show it.
    static std::string StandardText(int number);

    static constexpr const char* kDefaultSource = "Velloran";

private:
    static VbError Standard(VbErrorNumber number, const std::string& subject);
    int number_;
    std::string description_;
    std::string source_;
};

// The number a failure reports: its own for a VbError, else the internal error's.
inline int ErrorNumberOf(const std::exception& e) {
    const auto* vb = dynamic_cast<const VbError*>(&e);
    return vb ? vb->Number() : vbErrInternal;
}

}  // namespace velloran
