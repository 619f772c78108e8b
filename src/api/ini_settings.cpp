#include "api/ini_settings.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "api/social_reminder.h"
#include "base/bounded_text.h"

namespace tarn::api {
namespace {

constexpr std::size_t kNamesCapacity = 2048;  // units of the exclusion list's text, the NUL included

bool InstalledFile(machine::Machine& machine, std::u16string_view name, base::PathBuffer& file) {
    base::PathBuffer folder;
    return machine.Modules().InstallFolder(folder) &&
           base::Succeeded(base::FormatText(file, {base::FieldText(folder), name}));
}

// The ini file and the clock as the social reminder asks for them.
class InstalledSocialFacts final : public SocialFacts {
 public:
    explicit InstalledSocialFacts(machine::Machine& machine)
        : machine_(machine), hasFile_(InstalledFile(machine, u"socialset.ini", file_)) {}

    std::optional<std::uint32_t> OnlineHandle() override {
        if (!hasFile_) return std::nullopt;
        return machine_.ReadIniInteger(file_, kSection, u"FBOnlineHandle", 0);
    }

    std::optional<std::string_view> LikeText() override {
        std::array<char16_t, kLikeCapacity> wide{};
        const std::size_t length = machine_.ReadIniText(file_, kSection, u"FBLike", wide);
        if (length == 0 || length >= kLikeCapacity - 1) return std::nullopt;
        // A number is ASCII; any other unit ends it.
        for (std::size_t i = 0; i < length; ++i) like_[i] = wide[i] < 0x80 ? static_cast<char>(wide[i]) : '?';
        return std::string_view(like_.data(), length);
    }

    SocialDateTime Now() override { return FromSystemTime(machine_.Clock().Now()); }

    std::optional<SocialDateTime> ToLocal(std::int64_t seconds) override {
        const std::optional<TarnSystemTime> local = machine_.Clock().ToLocal(seconds);
        if (!local) return std::nullopt;
        return FromSystemTime(*local);
    }

    std::int64_t ToSeconds(const SocialDateTime& local) override {
        const TarnSystemTime time{local.year, local.month,  local.dayOfWeek, local.day,
                                  local.hour, local.minute, local.second,    0};
        return machine_.Clock().ToSeconds(time).value_or(-1);
    }

 private:
    static constexpr const char16_t* kSection = u"FACEBOOK";
    static constexpr std::size_t kLikeCapacity = 260;  // units, the NUL included

    static SocialDateTime FromSystemTime(const TarnSystemTime& time) {
        return {time.year, time.month, time.dayOfWeek, time.day, time.hour, time.minute, time.second};
    }

    machine::Machine& machine_;
    base::PathBuffer file_;
    bool hasFile_;
    std::array<char, kLikeCapacity> like_{};
};

}  // namespace

bool ReadDnsBlockSwitch(machine::Machine& machine, std::uint32_t& dnsBlockSwitch) {
    base::PathBuffer file;
    if (!InstalledFile(machine, u"dnsblock.ini", file)) return false;
    dnsBlockSwitch = machine.ReadIniInteger(file, u"WEB_SECURITY", u"BLOCK_URL_IN_DNS", 0);
    return true;
}

url::BrowserExclusions ReadBrowserExclusions(machine::Machine& machine) {
    constexpr const char16_t* kSection = u"BROWSER_EXCLUSION_LIST";
    base::PathBuffer file;
    if (!InstalledFile(machine, u"browskip.ini", file)) return {};
    const std::uint32_t count = machine.ReadIniInteger(file, kSection, u"COUNT", 0);
    if (count == 0) return {};
    std::array<char16_t, kNamesCapacity> names{};
    machine.ReadIniText(file, kSection, u"NAMES", names);
    return url::ParseBrowserExclusions(base::FieldText(names), count);
}

bool ReadSocialReminder(machine::Machine& machine) {
    InstalledSocialFacts facts(machine);
    bool due = false;
    std::int64_t elapsedSeconds = 0;
    return IsSocialReminderDue(facts, due, elapsedSeconds) == SocialResult::kOk && due;
}

}  // namespace tarn::api
