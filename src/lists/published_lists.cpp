#include "lists/published_lists.h"

namespace tarn::lists {

PublishedProfiles PublishProfiles(const parental::SettingsCopy& copy) {
    PublishedProfiles profiles(copy.Entries().size());
    for (std::size_t i = 0; i < profiles.size(); ++i) {
        const parental::PcUserEntry& entry = copy.Entries()[i];
        profiles[i].sites.Publish(entry.sites.hosts.View(), entry.sites.addresses.View());
        profiles[i].allowed.Publish(AsRecord(entry.allowedSites));
        profiles[i].scheduleAllowed.Publish(AsRecord(entry.scheduleAllowedSites));
    }
    return profiles;
}

}  // namespace tarn::lists
