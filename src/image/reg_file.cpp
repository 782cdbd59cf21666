#include "image/reg_file.h"

#include "image/image_error.h"
#include "image/text_file.h"
#include "platform/simulated/texts/unicode.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

namespace image {

namespace {

using platform::BYTE;
using platform::DWORD;
using platform::REG_BINARY;
using platform::REG_SZ;
using platform::simulated::EncodeUtf8;
using platform::simulated::GetCharacters;
using platform::simulated::MakeCanonicalKeyPath;
using platform::simulated::Registry;
using platform::simulated::RegistryValue;
using platform::simulated::RegistryValues;
using platform::simulated::ValueData;

constexpr std::u16string_view kHeader = u"Windows Registry Editor Version 5.00";
constexpr std::size_t kDwordDigits = 8;
constexpr std::size_t kByteDigits = 2;
constexpr std::size_t kLineWidth = 80;

std::optional<DWORD> ParseHexDigit(char16_t character) {
    if (character >= u'0' && character <= u'9')
        return character - u'0';
    if (character >= u'a' && character <= u'f')
        return character - u'a' + 10;
    if (character >= u'A' && character <= u'F')
        return character - u'A' + 10;
    return std::nullopt;
}

/// Whether Windows could have such a key.
bool IsKeyOfPossibleSize(std::u16string_view path) {
    constexpr std::size_t kMostLevels = 512;
    constexpr std::size_t kLongestName = 255;
    std::size_t levels = 1;
    for (; path.size() > kLongestName && levels <= kMostLevels; ++levels) {
        const std::size_t backslash = path.find(u'\\');
        if (backslash > kLongestName)
            return false;
        path.remove_prefix(backslash + 1);
    }
    return levels + static_cast<std::size_t>(std::count(path.begin(), path.end(), u'\\')) <=
           kMostLevels;
}

/// A place in the text of an export, with the steps that its grammar is made of.
class RegReader {
  public:
    RegReader(std::string file, std::u16string_view text) : file_(std::move(file)), rest_(text) {}

    void Read(std::u16string_view account, Registry& registry) {
        if (TakeLine() != kHeader)
            Fail(1, "the first line is not \"" + EncodeUtf8(kHeader) + "\"");
        while (SkipToStatement()) {
            if (rest_.front() == u'[')
                ReadKey(account, registry);
            else
                ReadValue(registry);
        }
    }

  private:
    [[noreturn]] void Fail(std::size_t line, const std::string& reason) const {
        throw ImageError(file_, line, reason);
    }
    [[noreturn]] void Fail(const std::string& reason) const {
        Fail(line_, reason);
    }

    [[nodiscard]] bool IsNext(char16_t character) const {
        return rest_.starts_with(character);
    }

    char16_t Take() {
        const char16_t character = rest_.front();
        rest_.remove_prefix(1);
        if (character == u'\n')
            ++line_;
        return character;
    }

    bool TakeIf(std::u16string_view expected) {
        if (!rest_.starts_with(expected))
            return false;
        rest_.remove_prefix(expected.size());
        return true;
    }

    void SkipBlanks() {
        while (IsNext(u' ') || IsNext(u'\t'))
            Take();
    }

    /// The rest of the line without blanks at its ends; goes on to the next line.
    std::u16string_view TakeLine() {
        SkipBlanks();
        std::u16string_view line = rest_.substr(0, rest_.find(u'\n'));
        rest_.remove_prefix(line.size());
        if (!rest_.empty())
            Take();
        const std::size_t last = line.find_last_not_of(u" \t\r");
        return line.substr(0, last + 1);
    }

    /// Takes blanks and the line's end; false if something else stands there.
    bool TakeLineEnd() {
        SkipBlanks();
        if (rest_.starts_with(u"\r\n"))
            Take();
        if (IsNext(u'\n'))
            Take();
        else if (!rest_.empty())
            return false;
        return true;
    }

    /// Passes over blank lines and comments; false at the end of the file.
    bool SkipToStatement() {
        while (!rest_.empty()) {
            if (IsNext(u';'))
                TakeLine();
            else if (rest_.find_first_of(u" \t\r\n") == 0)
                Take();
            else
                return true;
        }
        return false;
    }

    void ReadKey(std::u16string_view account, Registry& registry) {
        const std::size_t line = line_;
        std::u16string_view path = TakeLine();
        path.remove_prefix(1);
        if (!path.ends_with(u']'))
            Fail(line, "the key has no closing bracket");
        path.remove_suffix(1);
        const bool isRemoval = path.starts_with(u'-');
        if (isRemoval)
            path.remove_prefix(1);
        key_ = MakeCanonicalKeyPath(path, account);
        if (!key_)
            Fail(line, "\"" + EncodeUtf8(path) +
                           "\" is not a key: it has to begin with HKEY_LOCAL_MACHINE, HKEY_USERS, "
                           "HKEY_CURRENT_USER, HKEY_CLASSES_ROOT or HKEY_CURRENT_CONFIG, and no "
                           "part of it may be empty");
        if (!IsKeyOfPossibleSize(*key_))
            Fail(line, "a key is at most 512 levels deep, and each name in it 255 characters long");
        if (isRemoval) {
            registry.RemoveKey(*key_);
            key_.reset();
        } else {
            registry.CreateKey(*key_);
        }
    }

    void ReadValue(Registry& registry) {
        const std::size_t line = line_;
        std::u16string name;
        if (IsNext(u'"'))
            name = ReadQuoted();
        else if (!TakeIf(u"@"))
            Fail("neither a key, a value nor a comment");
        if (!key_)
            Fail(line, "a value without a key above it");
        SkipBlanks();
        if (!TakeIf(u"="))
            Fail("no \"=\" behind the value's name");
        SkipBlanks();
        if (TakeIf(u"-"))
            registry.RemoveValue(*key_, name);
        else if (IsNext(u'"'))
            registry.SetText(*key_, name, ReadQuoted());
        else if (TakeIf(u"dword:"))
            registry.SetDword(*key_, name, ReadHexNumber("dword", kDwordDigits));
        else if (TakeIf(u"hex"))
            ReadHexValue(registry, name);
        else
            Fail("the data is neither a text in quotes, dword:, hex:, hex(N): nor -");
        if (!TakeLineEnd())
            Fail("something stands behind the value's data");
    }

    /// Reads a text in quotes, which may hold line ends.
    std::u16string ReadQuoted() {
        const std::size_t line = line_;
        std::u16string text;
        Take();
        while (!rest_.empty()) {
            const char16_t character = Take();
            if (character == u'"')
                return text;
            if (character != u'\\') {
                text.push_back(character);
            } else if (IsNext(u'\\') || IsNext(u'"')) {
                text.push_back(Take());
            } else {
                Fail("a bad escape: behind \\ in a text stands \\ or \"");
            }
        }
        Fail(line, "the text has no closing quote");
    }

    /// Reads a number of one to `mostDigits` hexadecimal digits.
    DWORD ReadHexNumber(const std::string& what, std::size_t mostDigits) {
        DWORD number = 0;
        std::size_t digits = 0;
        while (!rest_.empty()) {
            const std::optional<DWORD> digit = ParseHexDigit(rest_.front());
            if (!digit)
                break;
            if (++digits > mostDigits)
                Fail("a broken " + what + ": more than " + std::to_string(mostDigits) + " digits");
            number = number << 4U | *digit;
            Take();
        }
        if (digits == 0)
            Fail("a broken " + what + ": no hexadecimal digit");
        return number;
    }

    void ReadHexValue(Registry& registry, const std::u16string& name) {
        DWORD type = REG_BINARY;
        if (TakeIf(u"(")) {
            type = ReadHexNumber("type of a hex value", kDwordDigits);
            if (!TakeIf(u")"))
                Fail("a broken hex value: no \")\" behind its type");
        }
        if (!TakeIf(u":"))
            Fail("a broken hex value: no \":\" in front of its bytes");
        registry.SetValue(*key_, name, type, ReadHexBytes());
    }

    /// Passes over blanks and the ends of lines that go on.
    void SkipContinuations() {
        SkipBlanks();
        while (TakeIf(u"\\")) {
            if (!TakeLineEnd() || rest_.empty())
                Fail("a broken hex value: no line follows the \\");
            SkipBlanks();
        }
    }

    ValueData ReadHexBytes() {
        ValueData bytes;
        SkipContinuations();
        if (rest_.empty() || IsNext(u'\r') || IsNext(u'\n'))
            return bytes;
        do {
            SkipContinuations();
            bytes.push_back(static_cast<BYTE>(ReadHexNumber("hex value", kByteDigits)));
            SkipContinuations();
        } while (TakeIf(u","));
        return bytes;
    }

    std::string file_;
    std::u16string_view rest_;
    std::size_t line_ = 1;
    std::optional<std::u16string> key_;
};

std::u16string QuoteForExport(std::u16string_view text) {
    std::u16string quoted(u"\"");
    for (const char16_t character : text) {
        if (character == u'\\' || character == u'"')
            quoted.push_back(u'\\');
        quoted.push_back(character);
    }
    return quoted + u'"';
}

void AppendHex(std::u16string& text, DWORD number, std::size_t digits) {
    for (std::size_t left = digits; left > 0; --left)
        text.push_back(u"0123456789abcdef"[number >> (4 * (left - 1)) & 0xFU]);
}

/// Whether the data can stand as a text in quotes: that gives it just one NUL, at its end.
bool IsPlainText(const RegistryValue& value) {
    const std::u16string characters = GetCharacters(value.data);
    return value.type == REG_SZ && value.data.size() % sizeof(char16_t) == 0 &&
           characters.find(u'\0') + 1 == characters.size() && !characters.empty() &&
           characters.find_first_of(u"\r\n") == std::u16string::npos;
}

std::u16string FormatHexIntroduction(DWORD type) {
    if (type == REG_BINARY)
        return u"hex:";
    std::u16string introduction(u"hex(");
    AppendHex(introduction, type, type < 0x10 ? 1 : kDwordDigits);
    return introduction + u"):";
}

/// Breaks a line of bytes as Windows does: behind a comma, with a backslash, and two blanks on the
/// next line.
std::u16string WrapHexLine(std::u16string_view line) {
    std::u16string wrapped;
    const std::size_t introduction = line.find(u':', line.rfind(u'=')) + 1;
    std::size_t column = introduction;
    wrapped.append(line.substr(0, introduction));
    for (std::size_t i = introduction; i < line.size(); i += 3) {
        const std::u16string_view byte = line.substr(i, 3);  // two digits and the comma
        if (column + byte.size() + 1 > kLineWidth) {
            wrapped += u"\\\r\n  ";
            column = 2;
        }
        wrapped += byte;
        column += byte.size();
    }
    return wrapped;
}

}  // namespace

void ReadRegFile(const std::string& file, std::string bytes, std::u16string_view account,
                 Registry& registry) {
    const std::u16string text = DecodeWindowsText(file, std::exchange(bytes, {}));
    RegReader(file, text).Read(account, registry);
}

std::u16string FormatRegName(std::u16string_view name) {
    return name.empty() ? u"@" : QuoteForExport(name);
}

std::u16string FormatRegData(const RegistryValue& value) {
    if (IsPlainText(value))
        return QuoteForExport(platform::simulated::GetText(value.data));
    std::u16string data;
    if (const std::optional<DWORD> number = platform::simulated::GetDword(&value)) {
        data = u"dword:";
        AppendHex(data, *number, kDwordDigits);
        return data;
    }
    data = FormatHexIntroduction(value.type);
    for (std::size_t i = 0; i < value.data.size(); ++i) {
        if (i > 0)
            data += u',';
        AppendHex(data, value.data[i], kByteDigits);
    }
    return data;
}

std::string FormatRegFile(const Registry& registry) {
    std::u16string text = u"\uFEFF" + std::u16string(kHeader) + u"\r\n";
    registry.GetKeys().Walk([&](const std::u16string& path, const RegistryValues& values) {
        text += u"\r\n[" + path + u"]\r\n";
        for (const auto& [name, value] : values) {
            const std::u16string data = FormatRegData(value);
            std::u16string line = FormatRegName(name);
            line.append(u"=").append(data);
            text.append(data.starts_with(u"hex") ? WrapHexLine(line) : line).append(u"\r\n");
        }
    });
    std::string bytes(text.size() * sizeof(char16_t), '\0');
    std::memcpy(bytes.data(), text.data(), bytes.size());
    return bytes;
}

}  // namespace image
