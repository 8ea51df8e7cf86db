#pragma once
// A failing operation raises a VbError carrying Visual Basic's error number and text
// where one fits, so that reports read the same on every platform.
#include <stdexcept>
#include <string>

namespace velloran {

enum VbErrorNumber : int {
    vbErrInvalidCall = 5,
    vbErrOverflow = 6,
    vbErrSubscript = 9,
    vbErrFileNotFound = 53,
    vbErrPermissionDenied = 70,
    vbErrPathNotFound = 76,
    vbErrObjectNotSet = 91,
    vbErrDiskFull = 61,
    vbErrDeviceIO = 57,
    vbErrPathFileAccess = 75,
};

class VbError : public std::runtime_error {
public:
    VbError(int number, std::string description, std::string source = "Velloran")
        : std::runtime_error(description),
          number_(number),
          description_(std::move(description)),
          source_(std::move(source)) {}

    int Number() const { return number_; }
    const std::string& Description() const { return description_; }
    const std::string& Source() const { return source_; }

    // The standard text for a number, as the reports show it.
    static std::string StandardText(int number);
    static VbError Standard(int number, std::string source = "Velloran") {
        return VbError(number, StandardText(number), std::move(source));
    }

private:
    int number_;
    std::string description_;
    std::string source_;
};

}  // namespace velloran
