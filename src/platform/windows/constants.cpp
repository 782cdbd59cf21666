#include "platform/c_runtime.h"
#include "platform/console.h"
#include "platform/files.h"
#include "platform/installer.h"
#include "platform/processes.h"
#include "platform/registry.h"
#include "platform/sessions.h"
#include "platform/types.h"

/// Holds the platform's constants against Windows' own. Behind its headers, which define most of
/// these names as macros, the platform's cannot be named any more, so they get other names first.
#define SALTROVE_FOR_EACH_CONSTANT(X)                                                              \
    X(MAX_PATH)                                                                                    \
    X(ERROR_SUCCESS)                                                                               \
    X(ERROR_FILE_NOT_FOUND)                                                                        \
    X(ERROR_PATH_NOT_FOUND)                                                                        \
    X(ERROR_ACCESS_DENIED)                                                                         \
    X(ERROR_INVALID_HANDLE)                                                                        \
    X(ERROR_NO_MORE_FILES)                                                                         \
    X(ERROR_READ_FAULT)                                                                            \
    X(ERROR_SHARING_VIOLATION)                                                                     \
    X(ERROR_INVALID_PARAMETER)                                                                     \
    X(ERROR_OPEN_FAILED)                                                                           \
    X(ERROR_INSUFFICIENT_BUFFER)                                                                   \
    X(ERROR_MOD_NOT_FOUND)                                                                         \
    X(ERROR_PROC_NOT_FOUND)                                                                        \
    X(ERROR_BAD_PATHNAME)                                                                          \
    X(ERROR_MORE_DATA)                                                                             \
    X(ERROR_NO_MORE_ITEMS)                                                                         \
    X(ERROR_KEY_DELETED)                                                                           \
    X(ERROR_UNKNOWN_PRODUCT)                                                                       \
    X(ERROR_UNKNOWN_PROPERTY)                                                                      \
    X(ERROR_BAD_CONFIGURATION)                                                                     \
    X(ERROR_BAD_QUERY_SYNTAX)                                                                      \
    X(ERROR_FUNCTION_FAILED)                                                                       \
    X(ERROR_UNKNOWN_PATCH)                                                                         \
    X(INVALID_FILE_ATTRIBUTES)                                                                     \
    X(FILE_ATTRIBUTE_READONLY)                                                                     \
    X(FILE_ATTRIBUTE_DIRECTORY)                                                                    \
    X(FILE_ATTRIBUTE_ARCHIVE)                                                                      \
    X(MOVEFILE_DELAY_UNTIL_REBOOT)                                                                 \
    X(CP_UTF8)                                                                                     \
    X(GENERIC_READ)                                                                                \
    X(FILE_SHARE_READ)                                                                             \
    X(FILE_SHARE_WRITE)                                                                            \
    X(FILE_SHARE_DELETE)                                                                           \
    X(OPEN_EXISTING)                                                                               \
    X(FILE_BEGIN)                                                                                  \
    X(KEY_ENUMERATE_SUB_KEYS)                                                                      \
    X(PROCESS_QUERY_INFORMATION)                                                                   \
    X(TH32CS_SNAPPROCESS)                                                                          \
    X(CREATE_NO_WINDOW)                                                                            \
    X(TOKEN_ASSIGN_PRIMARY)                                                                        \
    X(TOKEN_DUPLICATE)                                                                             \
    X(TOKEN_QUERY)                                                                                 \
    X(TOKEN_ADJUST_DEFAULT)                                                                        \
    X(TOKEN_ADJUST_SESSIONID)                                                                      \
    X(TOKEN_READ)                                                                                  \
    X(SECURITY_LOCAL_SYSTEM_RID)                                                                   \
    X(HEAP_ZERO_MEMORY)                                                                            \
    X(TokenUser)                                                                                   \
    X(SecurityImpersonation)                                                                       \
    X(TokenPrimary)                                                                                \
    X(WTSActive)                                                                                   \
    X(WTSDisconnected)                                                                             \
    X(KEY_QUERY_VALUE)                                                                             \
    X(KEY_SET_VALUE)                                                                               \
    X(KEY_WOW64_64KEY)                                                                             \
    X(KEY_READ)                                                                                    \
    X(KEY_WRITE)                                                                                   \
    X(REG_OPTION_NON_VOLATILE)                                                                     \
    X(REG_NONE)                                                                                    \
    X(REG_SZ)                                                                                      \
    X(REG_BINARY)                                                                                  \
    X(REG_DWORD)                                                                                   \
    X(REG_MULTI_SZ)                                                                                \
    X(MSIINSTALLCONTEXT_MACHINE)                                                                   \
    X(MSIPATCHSTATE_APPLIED)                                                                       \
    X(MSIPATCHSTATE_SUPERSEDED)                                                                    \
    X(MSIPATCHSTATE_OBSOLETED)                                                                     \
    X(MSIPATCHSTATE_REGISTERED)                                                                    \
    X(MSIPATCHSTATE_ALL)                                                                           \
    X(_SH_DENYNO)

namespace platform {
#define SALTROVE_RENAME(name) inline constexpr std::int64_t Our##name{name};
SALTROVE_FOR_EACH_CONSTANT(SALTROVE_RENAME)
}  // namespace platform

#include "platform/windows/native.h"

#include <msi.h>
#include <share.h>
#include <tlhelp32.h>
#include <wtsapi32.h>

#include <clocale>

// Pasted with nothing, since clang-tidy minds how Windows spells a literal only in an argument.
#define SALTROVE_HOLD(name, ...)                                                                   \
    static_assert(platform::Our##name == std::int64_t{name##__VA_ARGS__});
SALTROVE_FOR_EACH_CONSTANT(SALTROVE_HOLD)
static_assert(platform::CTYPE_CATEGORY == LC_CTYPE);
