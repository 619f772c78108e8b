// The two kinds of entry that a parental profile's site tables are made of: the blocked hosts and addresses.
// The texts and paths that entries point to belong to the table that holds the entries.
#ifndef TARN_PARENTAL_SITE_ENTRIES_H
#define TARN_PARENTAL_SITE_ENTRIES_H

#include <cstdint>

#include "tarn/companions.h"
#include "tarn/records.h"

namespace tarn::parental {

struct TARN_PACKED HostListEntry {
    std::uint8_t kind;         // 2 = the whole site, on secure connections only
    std::uint8_t exactHost;    // 1 = this host as a whole
    std::uint8_t wholeDomain;  // 1 = this host and everything below it
    std::uint32_t hash;        // CRC-32 of text
    const char* text;          // lower case
    const PathListNode* paths;
};
TARN_ASSERT_SIZE(HostListEntry, 23);
TARN_ASSERT_OFFSET(HostListEntry, hash, 3);
TARN_ASSERT_OFFSET(HostListEntry, text, 7);
TARN_ASSERT_OFFSET(HostListEntry, paths, 15);

struct TARN_PACKED AddressListEntry {
    std::uint8_t kind;          // as above
    std::uint8_t wholeAddress;  // 2 = the whole address, on secure connections only
    IpAddressRecord address;    // IPv4 in network order
    const PathListNode* paths;
};
TARN_ASSERT_SIZE(AddressListEntry, 27);
TARN_ASSERT_OFFSET(AddressListEntry, wholeAddress, 1);
TARN_ASSERT_OFFSET(AddressListEntry, address, 2);
TARN_ASSERT_OFFSET(AddressListEntry, paths, 19);

}  // namespace tarn::parental

#endif
