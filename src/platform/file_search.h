#pragma once

#include "platform/files.h"

#include <memory>
#include <type_traits>

namespace platform {

struct FileSearchCloser {
    void operator()(HANDLE search) const {
        FindClose(search);
    }
};

/// A search through a directory, ended at the end of its scope. Never holds INVALID_HANDLE_VALUE.
using FileSearch = std::unique_ptr<std::remove_pointer_t<HANDLE>, FileSearchCloser>;

}  // namespace platform
