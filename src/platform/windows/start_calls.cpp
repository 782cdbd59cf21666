#include "platform/start.h"

#include "platform/windows/native.h"

namespace platform {

namespace {

std::wstring Widen(const std::string& text) {
    const int bytes = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    const int length = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(),
                                             static_cast<int>(wide.size()));
    wide.resize(static_cast<std::size_t>(length));
    return wide;
}

/// An argument as a C program on Windows reads it again: in quotes, and each backslash in front of
/// a quote, with the quote, behind one more.
std::wstring Quote(const std::wstring& argument) {
    std::wstring quoted = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t character : argument) {
        if (character == L'"')
            quoted.append(backslashes + 1, L'\\');
        backslashes = character == L'\\' ? backslashes + 1 : 0;
        quoted.push_back(character);
    }
    return quoted.append(backslashes, L'\\') + L'"';
}

}  // namespace

int StartAndWait(const std::filesystem::path& program, const std::vector<std::string>& arguments) {
    std::wstring commandLine = Quote(program.wstring());
    for (const std::string& argument : arguments)
        commandLine += L' ' + Quote(Widen(argument));
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (::CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                         nullptr, &startup, &process) == FALSE)
        return -1;
    ::WaitForSingleObject(process.hProcess, INFINITE);
    ::DWORD exitCode = 0;
    ::GetExitCodeProcess(process.hProcess, &exitCode);
    ::CloseHandle(process.hThread);
    ::CloseHandle(process.hProcess);
    return static_cast<int>(exitCode);
}

bool SetReadOnly(const std::filesystem::path& path, bool isReadOnly) {
    return ::SetFileAttributesW(path.c_str(), isReadOnly ? FILE_ATTRIBUTE_READONLY
                                                         : FILE_ATTRIBUTE_NORMAL) != FALSE;
}

}  // namespace platform
