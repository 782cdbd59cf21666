#include "contract/world.h"
#include "inventory/installer_query.h"
#include "platform/clock.h"
#include "platform/installer.h"
#include "platform/registry_access.h"
#include "platform/wide_text.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

// What Windows Installer says of patches. A row that Wine is known to answer otherwise holds Wine's
// answer as well, so that it is seen when Wine mends it.

namespace platform {
namespace {

using contract::kIsWine;

const std::u16string kClasses = u"SOFTWARE\\Classes\\Installer\\Products\\";
const std::u16string kUserData =
    u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData\\S-1-5-18\\";

RegistryKey OpenForWriting(const std::u16string& path) {
    return CreateKey(HKEY_LOCAL_MACHINE, path, KEY_WRITE);
}

/// The beginning of every code, of which no earlier run has left anything.
std::u16string BeginCode() {
    static const std::u16string digits =
        FormatDecimal(100'000'000 + _time64(nullptr) % 100'000'000);
    return u"{" + digits.substr(1);
}

/// The code of the patch that a capital letter stands for.
std::u16string MakePatchCode(char16_t letter) {
    return BeginCode() + u"-0000-0000-0000-00000000000" + letter + u"}";
}

/// A product of which nothing is known yet.
std::u16string MakeProductCode() {
    static int number = 100;
    return BeginCode() + u"-0000-0000-0001-000000000" + FormatDecimal(++number) + u"}";
}

std::u16string Pack(const std::u16string& code) {
    return saltrove::PackGuid(code).value();
}

void SetBytes(const RegistryKey& key, const char16_t* name, DWORD type,
              const std::u16string& text) {
    RegSetValueExW(key.get(), name, 0, type, reinterpret_cast<const BYTE*>(text.data()),
                   static_cast<DWORD>(text.size() * sizeof(char16_t)));
}

/// What is registered of a product; a letter stands for a patch, "!" for what is no code.
struct Registration {
    std::u16string list;    ///< in the value `Patches` of the product
    std::u16string beside;  ///< with a value of their own beside it
    std::u16string states;  ///< with a key in UserData, and behind each its `State`, "-" for none
    DWORD listType = REG_MULTI_SZ;
};

void Register(const std::u16string& product, const Registration& registration) {
    const RegistryKey patches = OpenForWriting(kClasses + Pack(product) + u"\\Patches");
    std::u16string list;
    for (const char16_t letter : registration.list)
        list.append(letter == u'!' ? u"garbage" : Pack(MakePatchCode(letter))).append(1, u'\0');
    SetBytes(patches, u"Patches", registration.listType, list + u'\0');
    for (const char16_t letter : registration.beside)
        SetText(patches, Pack(MakePatchCode(letter)).c_str(), u":Update;:#Update");
    for (std::size_t i = 0; i < registration.states.size(); i += 2) {
        const RegistryKey state =
            OpenForWriting(kUserData + u"Products\\" + Pack(product) + u"\\Patches\\" +
                           Pack(MakePatchCode(registration.states[i])));
        if (registration.states[i + 1] != u'-')
            SetDword(state, u"State", static_cast<DWORD>(registration.states[i + 1] - u'0'));
    }
}

/// The letters of the patches that are delivered, and the error behind them.
std::u16string Enumerate(const std::u16string& product, DWORD filter) {
    std::u16string letters;
    for (DWORD index = 0;; ++index) {
        char16_t patch[39] = {};
        char16_t target[39] = {};
        const UINT error =
            MsiEnumPatchesExW(product.c_str(), nullptr, MSIINSTALLCONTEXT_MACHINE, filter, index,
                              patch, target, nullptr, nullptr, nullptr);
        if (error != 0)
            return letters + u' ' + FormatDecimal(error);
        EXPECT_EQ(target, product);
        letters += patch[36];
    }
}

TEST(PatchContract, PatchesAreDeliveredByListEntryAndState) {
    const struct {
        const char* name;
        Registration registration;
        DWORD filter;
        std::u16string expected;
        std::u16string underWine = {};  // where it differs
    } cases[] = {
        {"NoList", {}, 15, u" 259"},
        {"InTheOrderOfTheList", {u"BA", u"AB", u"A1B2"}, 15, u"BA 259"},
        {"Applied", {u"ABC", u"ABC", u"A1B2C4"}, 1, u"A 259"},
        {"Superseded", {u"ABC", u"ABC", u"A1B2C4"}, 2, u"B 259"},
        {"Obsoleted", {u"ABC", u"ABC", u"A1B2C4"}, 4, u"C 259"},
        {"TwoStates", {u"ABC", u"ABC", u"A1B2C4"}, 6, u"BC 259"},
        {"NoEntryBesideTheList", {u"AB", u"B", u"A1B1"}, 15, u"B 259"},
        {"NoKeyOfThePatch", {u"A", u"A", u""}, 1, u"A 259"},
        {"NoKeyOfThePatchIsApplied", {u"A", u"A", u""}, 14, u" 259", u"A 259"},
        {"NoStateIsNotApplied", {u"AB", u"AB", u"A-B1"}, 1, u"B 259"},
        {"NoStateIsNoOther", {u"AB", u"AB", u"A-B1"}, 15, u"B 259"},
        {"ListOfAnotherType", {u"A", u"A", u"A1", REG_SZ}, 15, u" 1610"},
        {"NoCodeInTheList", {u"!", u"", u""}, 15, u" 1610"},
        {"NoCodeBehindOne", {u"A!B", u"AB", u"A1B1"}, 15, u"A 1610"},
        {"SupersededInUserDataAlone", {u"A", u"A", u"A1B2C4"}, 15, u"ABC 259", u"A 259"},
        {"AppliedOnesStandInTheList", {u"A", u"A", u"A1B2C4"}, 1, u"A 259"},
    };
    for (const auto& row : cases) {
        const std::u16string product = MakeProductCode();
        Register(product, row.registration);
        const bool differs = kIsWine && !row.underWine.empty();
        EXPECT_EQ(Enumerate(product, row.filter), differs ? row.underWine : row.expected)
            << row.name;
    }
    EXPECT_EQ(Enumerate(MakeProductCode(), 15), u" 259") << "an unknown product";
}

TEST(PatchContract, AnEnumerationIsRefusedForItsArguments) {
    const std::u16string product = MakeProductCode();
    Register(product, {u"A", u"A", u"A1"});
    const struct {
        const char16_t* product;
        const char16_t* userSid;
        DWORD context;
        DWORD filter;
    } cases[] = {
        {u"", nullptr, 4, 15},
        {u"garbage", nullptr, 4, 15},
        {u"5A17C0DE-0000-0000-0001-000000000000", nullptr, 4, 15},
        {product.c_str(), nullptr, 4, 0},
        {product.c_str(), nullptr, 4, 16},
        {product.c_str(), nullptr, 0, 15},
        {product.c_str(), nullptr, 8, 15},
        {product.c_str(), u"S-1-5-18", 4, 15},
    };
    for (const auto& row : cases) {
        char16_t patch[39] = u"as before";
        EXPECT_EQ(MsiEnumPatchesExW(row.product, row.userSid, row.context, row.filter, 0, patch,
                                    nullptr, nullptr, nullptr, nullptr),
                  ERROR_INVALID_PARAMETER);
        EXPECT_EQ(patch, std::u16string(u"as before"));
    }
    char16_t patch[39] = u"as before";
    EXPECT_EQ(MsiEnumPatchesExW(product.c_str(), nullptr, 4, 15, 1, patch, nullptr, nullptr,
                                nullptr, nullptr),
              ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(patch == std::u16string(u"as before"), !kIsWine) << "Wine fills it";
    EXPECT_EQ(
        MsiEnumPatchesExW(nullptr, nullptr, 4, 15, 0, patch, nullptr, nullptr, nullptr, nullptr),
        kIsWine ? ERROR_INVALID_PARAMETER : ERROR_SUCCESS)
        << "of all products";
}

/// The property, or the error, and behind it the size that the call gave and what the buffer holds.
std::u16string ReadProperty(const std::u16string& patch, const std::u16string& product,
                            const char16_t* property, DWORD size,
                            const char16_t* userSid = nullptr) {
    char16_t value[16] = {};
    const UINT error = MsiGetPatchInfoExW(patch.c_str(), product.c_str(), userSid,
                                          MSIINSTALLCONTEXT_MACHINE, property, value, &size);
    return FormatDecimal(error) + u" " + FormatDecimal(size) + u" " + value;
}

TEST(PatchContract, APropertyIsReadWhereItsPatchAndProductAreKnown) {
    const std::u16string product = MakeProductCode();
    const std::u16string own = kUserData + u"Products\\" + Pack(product);
    const std::u16string patch = MakePatchCode(u'D');
    const std::u16string ofProduct = own + u"\\Patches\\" + Pack(patch);
    const std::u16string ofAll = kUserData + u"Patches\\" + Pack(patch);
    OpenForWriting(ofProduct);
    OpenForWriting(ofAll);
    EXPECT_EQ(ReadProperty(patch, product, u"State", 16), u"1605 16 ");
    OpenForWriting(own + u"\\InstallProperties");
    for (const char16_t* property : {u"State", u"DisplayName", u"LocalPackage"})
        EXPECT_EQ(ReadProperty(patch, product, property, 16), u"0 0 ") << "no value: an empty text";
    EXPECT_EQ(ReadProperty(patch, product, u"Nonsense", 16), u"1608 16 ");

    SetDword(OpenForWriting(ofProduct), u"State", 2);
    SetText(OpenForWriting(ofProduct), u"DisplayName", u"Update");
    SetText(OpenForWriting(ofAll), u"LocalPackage", u"C:\\x.msp");
    EXPECT_EQ(ReadProperty(patch, product, u"State", 10), u"0 1 2");
    EXPECT_EQ(ReadProperty(patch, product, u"DisplayName", 7), u"0 6 Update");
    EXPECT_EQ(ReadProperty(patch, product, u"LocalPackage", 9), u"0 8 C:\\x.msp");
    EXPECT_EQ(ReadProperty(patch, product, u"LocalPackage", 8), u"234 8 C:\\x.ms");
    SetText(OpenForWriting(ofProduct), u"State", u"two");
    EXPECT_EQ(ReadProperty(patch, product, u"State", 10), u"0 3 two");

    EXPECT_EQ(ReadProperty(u"garbage", product, u"State", 10), u"87 10 ");
    EXPECT_EQ(ReadProperty(patch, u"garbage", u"State", 10), u"87 10 ");
    EXPECT_EQ(ReadProperty(patch, product, u"State", 10, u"S-1-5-18"), u"87 10 ");
    const std::u16string other = MakePatchCode(u'E');
    OpenForWriting(own + u"\\Patches\\" + Pack(other));
    EXPECT_EQ(ReadProperty(other, product, u"State", 10), u"1647 10 ") << "not known of all";
    const std::u16string third = MakePatchCode(u'F');
    OpenForWriting(kUserData + u"Patches\\" + Pack(third));
    EXPECT_EQ(ReadProperty(third, product, u"State", 10), u"1647 10 ") << "not of the product";
}

}  // namespace
}  // namespace platform
