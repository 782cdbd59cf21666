#include "support/generated_machines.h"

#include "image/image.h"
#include "image/machine_ini.h"
#include "inventory/installer_query.h"
#include "platform/simulated/machine/full_path.h"
#include "platform/simulated/machine/pending_renames.h"
#include "platform/simulated/texts/letter_case.h"
#include "platform/simulated/texts/unicode.h"
#include "platform/wide_text.h"
#include "product/cleanup_key.h"
#include "product/eligibility.h"
#include "product/product_track.h"
#include "support/machines.h"
#include "support/package_writer.h"

#include <fstream>

namespace test {

namespace {

using platform::DWORD;
using platform::FormatDecimal;
using platform::simulated::EncodeUtf8;
using platform::simulated::FoldCase;
using platform::simulated::kMachineAccount;
using platform::simulated::PackageReading;

constexpr const char16_t* kOtherProducts[] = {u"{00000000-4D2E-4C19-8A54-E883016FC300}",
                                              u"{7D102000-1111-2222-3333-444455556666}",
                                              u"{FFFFFFFF-9F16-46C3-9D02-A8E15B3D6C3B}"};

std::u16string PadNumber(unsigned number, std::size_t digits) {
    const std::u16string text = FormatDecimal(number);
    return std::u16string(digits - std::min(digits, text.size()), u'0') + text;
}

/// Makes one machine. Each choice is a statement of its own, so that their order is the same with
/// every compiler.
class MachineMaker {
  public:
    MachineMaker(Dice& dice, unsigned mostPatches) : dice_(dice), mostPatches_(mostPatches) {}

    GeneratedMachine Make() {
        MakeFolders();
        ChooseArguments();
        MakeSettings();
        const unsigned patches = dice_.HasLuck(5) ? 0 : 1 + dice_.Roll(mostPatches_);
        current_ = dice_.Roll(std::max(patches, 1U));
        hasTwin_ = dice_.HasLuck(15);
        for (unsigned i = 0; i < patches; ++i)
            AddPatch(product_, i);
        FinishList(product_);
        AddOtherProducts(patches);
        AddLooseFiles(dice_.Roll(mostPatches_ / 2 + 3));
        for (const auto& [section, lines] : sections_)
            made_.errors.append("[").append(section).append("]\n").append(lines);
        image::ReadMachineIni("errors", made_.errors, machine_);
        MakeUsers();  // the reader has set the process
        return std::move(made_);
    }

  private:
    void MakeFolders() {
        machine_.clock.utc = std::chrono::sys_seconds(std::chrono::seconds(kClock));
        if (!dice_.HasLuck(3))
            machine_.drive.AddDirectory(u"C:\\Windows\\Temp");
        if (!dice_.HasLuck(2))
            machine_.drive.AddDirectory(u"C:\\Windows\\Installer");
        if (dice_.HasLuck(2))
            machine_.missing.push_back({u"msi.dll", dice_.Pick({"", "MsiGetPatchInfoExW"})});
    }

    void ChooseArguments() {
        const std::u16string zr = u"{5B7A90E1-4D2E-4C19-8A54-EC83016FC300}";
        const std::u16string trunk = u"{1C94E07B-9F16-46C3-9D02-A8E15B3D6C3B}";
        product_ = dice_.Pick<std::u16string>(
            {zr, zr, zr, trunk, trunk, u"{5B7A90E1-4D2E-4C19-8A54-EB7301D55200}",
             u"{5B7A90E1-4D2E-4C19-8A54-0E83016FC300}", u"{5B7A90E1-0000-4C19-8A54-EC83016FC300}"});
        made_.arguments = {product_, u"24.3.20790"};
        if (dice_.HasLuck(18))
            made_.arguments.push_back(dice_.Pick<std::u16string>({u"simulate", u"Simulate", u"x"}));
        if (dice_.HasLuck(2))
            made_.arguments.resize(dice_.Pick({1U, 0U, 4U}), u"x");
        if (dice_.HasLuck(2))
            made_.arguments = {product_, u"usercontext"};
    }

    /// Sets a number, or in rare cases something else of that name.
    void SetNumber(const std::u16string& keyPath, const char16_t* name, DWORD number) {
        if (!dice_.HasLuck(4))
            machine_.registry.SetDword(kMachineHive + keyPath, name, number);
        else if (dice_.HasLuck(50))
            machine_.registry.SetText(kMachineHive + keyPath, name, FormatDecimal(number));
        else
            machine_.registry.SetValue(kMachineHive + keyPath, name, platform::REG_DWORD,
                                       MakeBytes());
    }

    platform::simulated::ValueData MakeBytes() {
        platform::simulated::ValueData bytes(dice_.Roll(9));
        for (platform::BYTE& byte : bytes)
            byte = static_cast<platform::BYTE>(dice_.Roll(256));
        return bytes;
    }

    void MakeSettings() {
        const auto track = saltrove::GetProductTrack(product_);
        const std::u16string_view family = saltrove::GetProductFamilyKey(product_);
        const std::u16string store = saltrove::GetCleanupKeyPath(product_);
        if (dice_.HasLuck(30))
            SetNumber(saltrove::GetPolicyKeyPath(family, *track), saltrove::kPolicyValue,
                      dice_.Pick<DWORD>({1, 1, 0, 2}));
        if (!dice_.HasLuck(5))
            SetNumber(saltrove::GetSampleKeyPath(family, *track), saltrove::kSampleValue,
                      dice_.HasLuck(15) ? dice_.Pick<DWORD>({0, 9999, 0xFFFFFFFF}) : 4000);
        if (dice_.HasLuck(30) && !store.starts_with(u'\\'))
            SetNumber(store, saltrove::kCleanupTimeValue,
                      dice_.Pick<DWORD>({1'700'000'000, kClock - 86'400, kClock + 86'400}));
        if (dice_.HasLuck(30) && !store.starts_with(u'\\'))
            SetNumber(store, saltrove::kRunLogSwitchValue, 1);
        if (dice_.HasLuck(2) && !store.starts_with(u'\\'))
            AddError("create-errors", kMachineHive + store, 5);
    }

    /// An error that a file or key gives to whoever asks.
    void AddError(const char* section, const std::u16string& path, DWORD code) {
        sections_[section] += EncodeUtf8(path) + " = " + std::to_string(code) + "\n";
    }

    static std::u16string GetPatchCode(unsigned number) {
        return u"{12345678-9ABC-DEF0-1234-" + PadNumber(number, 12) + u"}";
    }

    static std::u16string GetUserData(std::u16string_view tail) {
        return std::u16string(platform::simulated::kUserDataKey)
            .append(u"\\")
            .append(kMachineAccount)
            .append(tail);
    }

    std::u16string MakeFileName(unsigned number) {
        const std::u16string plain = PadNumber(0x2F * number + 0x5A01, 6);
        const auto* extension =
            dice_.Pick<const char16_t*>({u".msp", u".msp", u".msp", u".msp", u".MSP"});
        return dice_.Pick<std::u16string>({plain, plain, u"\u00C9t\u00E9 " + plain,
                                           u"\u00C9t\u00E9 " + plain, u"\u0434" + plain,
                                           u"A(" + plain + u")%"}) +
               extension;
    }

    /// A package at `path`, or what lies there in its place.
    void AddFile(const std::u16string& path, bool isOwn) {
        if (machine_.drive.Find(path) != nullptr)
            return;
        const unsigned kind = dice_.Roll(20);
        if (kind == 1 && !isOwn) {
            machine_.drive.AddDirectory(path);
            return;
        }
        if (kind == 2 && isOwn)
            return;
        platform::simulated::FileNode& node = machine_.drive.AddFile(path, "");
        if (kind == 3)
            node.bytes = WritePackage(MakePackage({{"Description", "of Kelvane Ostrel"}}));
        else if (kind == 4)
            node.bytes = "no package";
        else
            node.reading = MakeReading(isOwn);
        node.size = 1000 + kind;
        node.isReadOnly = dice_.HasLuck(4);
        if (dice_.HasLuck(20))
            AddError("delete-errors", path, dice_.Pick<DWORD>({32, 32, 5, 2, 19}));
        if (dice_.HasLuck(6))
            AddError("mark-errors", path, 5);
    }

    PackageReading MakeReading(bool isOwn) {
        if (dice_.HasLuck(isOwn ? 10 : 35)) {
            const auto step = dice_.Pick({PackageReading::Step::Open, PackageReading::Step::Query,
                                          PackageReading::Step::Execute});
            return {step, dice_.Pick({1620U, 110U, 1615U}), {}};
        }
        if (isOwn && !dice_.HasLuck(20))
            return {PackageReading::Step::None, 0, u"Update of Kelvane Ostrel"};
        return {PackageReading::Step::None, 0,
                dice_.Pick<std::u16string>(
                    {u"KELVANE OSTREL 24", u"Kelvane Lumeth", u"Ostrel Lumeth", u"Another", u""})};
    }

    /// Where Windows Installer says that a package is.
    std::u16string MakeLocalPackage(const std::u16string& file) {
        std::u16string plain = kCache + file;
        std::u16string inCapitals = plain;
        for (char16_t& character : inCapitals)
            character = static_cast<char16_t>(
                character >= u'a' && character <= u'z' ? character - 32 : character);
        if (inCapitals.find(u'\u00E9') != std::u16string::npos)
            inCapitals[inCapitals.find(u'\u00E9')] = u'\u00C9';
        if (!dice_.HasLuck(20))
            return plain;
        return dice_.Pick<std::u16string>(
            {inCapitals, inCapitals, inCapitals, inCapitals, u"c:/Windows/Installer/" + file,
             u"C:\\Windows\\Installer\\.\\" + file, u"C:\\Windows\\Installer\\sub\\" + file,
             u"C:\\Windows\\Installer\\..\\" + file, u"D:\\" + file, u"C:\\Patches\\" + file, u""});
    }

    void SetText(const std::u16string& key, const char16_t* name, const std::u16string& text) {
        if (!dice_.HasLuck(2))
            machine_.registry.SetText(key, name, text);
        else if (dice_.HasLuck(60))
            machine_.registry.SetDword(key, name, 1);
    }

    /// The package of a patch, which all its products share, and where it came from.
    void AddPackage(unsigned number, const std::u16string& packed, const std::u16string& source) {
        const std::u16string file = MakeFileName(number);
        const std::u16string localPackage = MakeLocalPackage(file);
        SetText(GetUserData(u"\\Patches\\" + packed), u"LocalPackage", localPackage);
        // What another spelling names lies there as well, out of the cache folder too.
        const std::u16string place = platform::simulated::ResolvePath(localPackage).value_or(u"");
        if (!dice_.HasLuck(8) && FoldCase(place).starts_with(u"C:"))
            AddFile(FoldCase(place) == FoldCase(kCache + file) ? kCache + file : place, true);
        if (dice_.HasLuck(3))
            return;
        const auto* ending = dice_.Pick<const char16_t*>(
            {u"_incr.msp", u".msp", u"_INCR.msp", u"_incr.msp", u".msp"});
        // A number may be that of the patch before, too.
        if (!dice_.HasLuck(20))
            source_ = source;
        SetText(kMachineHive + saltrove::GetSourceListKeyPath(packed), saltrove::kPackageNameValue,
                dice_.HasLuck(4) ? u"Upd.msp" : source_ + ending);
    }

    /// A patch of an incremental chain in which the one with the number current_ is applied, and
    /// with it perhaps the next one, of the same version.
    void AddPatch(const std::u16string& product, unsigned number) {
        const std::u16string packed = *saltrove::PackGuid(GetPatchCode(number));
        const std::u16string packedProduct = *saltrove::PackGuid(product);
        const bool isTwin = hasTwin_ && number == current_ + 1;
        const bool isCurrent = number == current_ || isTwin;
        const unsigned minor = 1 + number / 4;
        const std::u16string build = FormatDecimal(20500 + 37 * number);
        const std::u16string dotted =
            isTwin ? dotted_ : u"24." + FormatDecimal(minor) + u"." + build;
        dotted_ = dotted;
        if (isCurrent && product == product_ && made_.arguments.size() > 1 && !dice_.HasLuck(4))
            made_.arguments[1] = dotted + dice_.Pick<const char16_t*>({u"", u".15"});

        machine_.registry.CreateKey(
            GetUserData(u"\\Products\\" + packedProduct + u"\\InstallProperties"));
        const std::u16string key =
            GetUserData(u"\\Products\\" + packedProduct + u"\\Patches\\" + packed);
        const DWORD state = isCurrent ? 1 : dice_.Pick<DWORD>({2, 2, 2, 4, 8, 1, 0, 3});
        if (!dice_.HasLuck(2))
            machine_.registry.SetDword(key, u"State", state);
        SetText(key, u"DisplayName",
                dice_.HasLuck(6)
                    ? dice_.Pick<std::u16string>({u"Update", u"(24)", std::u16string(130, u'x')})
                    : u"Update (" + dotted + u")");

        if (!machine_.registry.HasKey(GetUserData(u"\\Patches\\" + packed)))
            AddPackage(number, packed, u"Upd24" + PadNumber(minor, 3) + build);
        if (isCurrent || state != 2 || dice_.HasLuck(50))
            list_ += packed + u'\0';
        listed_.push_back(packed);
    }

    /// The value that lists the product's patches, sound or not.
    void FinishList(const std::u16string& product) {
        const std::u16string key = std::u16string(platform::simulated::kProductsKey) + u"\\" +
                                   *saltrove::PackGuid(product) + u"\\Patches";
        if (!list_.empty() && dice_.HasLuck(5))
            list_ += list_.substr(0, list_.find(u'\0') + 1);  // delivered twice
        if (dice_.HasLuck(3))
            list_.insert(0, std::u16string(u"damaged") + u'\0');
        const DWORD type = dice_.HasLuck(2) ? platform::REG_SZ : platform::REG_MULTI_SZ;
        machine_.registry.SetValue(key, u"Patches", type, platform::simulated::MakeTextData(list_));
        for (const std::u16string& packed : listed_)
            machine_.registry.SetText(key, packed, u":update");
        list_.clear();
        listed_.clear();
    }

    /// Products in front of this one and behind it, some of them linked to its packages.
    void AddOtherProducts(unsigned patches) {
        current_ = mostPatches_ + 1000;
        for (const char16_t* product : kOtherProducts) {
            if (!dice_.HasLuck(40))
                continue;
            const unsigned own = dice_.Roll(3);
            for (unsigned i = 0; i < own; ++i)
                AddPatch(product, 1000 + 10U * product[1] + i);
            if (patches > 0 && dice_.HasLuck(40))
                AddPatch(product, dice_.Roll(patches));
            FinishList(product);
        }
    }

    void AddLooseFiles(unsigned count) {
        for (unsigned i = 0; i < count; ++i)
            AddFile(kCache + MakeFileName(5000 + i), false);
        if (dice_.HasLuck(10))
            AddFile(kCache + u"old.mspold", false);
        if (dice_.HasLuck(10))
            AddFile(kCache + dice_.Pick<const char16_t*>({u"setup.msi", u"saved.msp.bak"}), false);
        std::uint64_t sound = 0;
        if (dice_.HasLuck(5))
            platform::simulated::RegisterDeletion(machine_.registry, u"C:\\Windows\\Temp\\a.tmp",
                                                  sound);
    }

    void MakeUsers() {
        const std::u16string user = u"S-1-5-21-1-2-3-1001";
        machine_.process.account = dice_.Pick<std::u16string>({u"S-1-5-18", u"S-1-5-18", user});
        machine_.process.session = dice_.Pick<DWORD>({0, 0, 1});
        machine_.sessions = {{0, false}, {1, !dice_.HasLuck(20)}};
        machine_.processes = {{4, 0, u"S-1-5-18", u"C:\\Windows\\System32\\services.exe"},
                              {8, 1, user, u"C:\\Windows\\explorer.exe"}};
        if (dice_.HasLuck(20))
            machine_.processes.pop_back();
        if (dice_.HasLuck(3))
            machine_.windowsDirectory.clear();
    }

    static constexpr DWORD kClock = 1'794'987'462;  // 2026-11-18 07:37:42 UTC

    Dice& dice_;
    unsigned mostPatches_;
    GeneratedMachine made_;
    platform::simulated::Machine& machine_ = made_.machine;
    std::u16string product_;
    unsigned current_ = 0;
    bool hasTwin_ = false;   ///< a second patch of the product's version is applied
    std::u16string dotted_;  ///< of the patch before this one
    std::u16string source_;  ///< the beginning of the last package name
    std::u16string list_;
    std::vector<std::u16string> listed_;
    std::map<std::string, std::string> sections_;
};

}  // namespace

unsigned Dice::Roll(unsigned sides) {
    if (!bytes_)
        return static_cast<unsigned>(engine_() % sides);
    unsigned number = 0;
    for (unsigned reach = 1; reach < sides && !bytes_->empty(); reach *= 256) {
        number = number * 256 + bytes_->front();
        bytes_ = bytes_->subspan(1);
    }
    return number % sides;
}

bool Dice::HasLuck(unsigned percent) {
    return Roll(100) >= 100 - percent;
}

GeneratedMachine GenerateMachine(Dice& dice, unsigned mostPatches) {
    return MachineMaker(dice, mostPatches).Make();
}

void WriteGeneratedImage(const GeneratedMachine& generated, const std::filesystem::path& folder) {
    image::WriteNewImage({generated.machine, generated.arguments}, true, folder, nullptr);
    std::ofstream(folder / "machine.ini", std::ios::app | std::ios::binary) << generated.errors;
}

}  // namespace test
