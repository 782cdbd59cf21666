#pragma once

#include "platform/installer.h"

#include <cstddef>
#include <memory>

namespace platform {

/// A Windows Installer handle in the form in which std::unique_ptr can hold it: the handle is a
/// number, of which 0 is none.
struct InstallerHandleNumber {
    MSIHANDLE number = 0;

    InstallerHandleNumber() = default;
    InstallerHandleNumber(std::nullptr_t) {}
    explicit InstallerHandleNumber(MSIHANDLE handle) : number(handle) {}
    explicit operator bool() const {
        return number != 0;
    }
    friend bool operator==(InstallerHandleNumber, InstallerHandleNumber) = default;
};

struct InstallerHandleCloser {
    using pointer = InstallerHandleNumber;
    void operator()(InstallerHandleNumber handle) const {
        MsiCloseHandle(handle.number);
    }
};

/// A database, view or record, closed at the end of its scope.
using InstallerHandle = std::unique_ptr<MSIHANDLE, InstallerHandleCloser>;

}  // namespace platform
