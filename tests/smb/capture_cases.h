// Every capture with SMB in it, and how many of the creates that its server granted end in which way.
#ifndef TARN_TESTS_SMB_CAPTURE_CASES_H
#define TARN_TESTS_SMB_CAPTURE_CASES_H

#include "smb/expected_events.h"

namespace tarn::smb {

struct CaptureCase {
    const char* capture;
    Outcomes outcomes;
};

inline const CaptureCase kCaptureCases[] = {
    {"mixed_bench.pcap", {{Outcome::kReported, 8}, {Outcome::kOpened, 9}}},
    {"smb1_dispositions.pcap", {{Outcome::kNarrowPath, 23}}},
    {"smb1_kernel_cifs.pcap", {{Outcome::kOtherProcess, 6}}},
    {"smb1_lo.pcap", {{Outcome::kReported, 5}, {Outcome::kOpened, 4}}},
    {"smb1_multi_tree.pcap", {{Outcome::kReported, 4}, {Outcome::kOpened, 1}}},
    {"smb1_port139.pcap", {{Outcome::kOtherPort, 2}}},
    {"smb1_smbclient_basic.pcap", {{Outcome::kReported, 5}, {Outcome::kOpened, 4}}},
    {"smb1_smbclient_names.pcap", {{Outcome::kReported, 12}, {Outcome::kOpened, 4}}},
    {"smb1_two_clients.pcap", {{Outcome::kReported, 15}, {Outcome::kOpened, 12}}},
    {"smb2_202_smbclient.pcap", {{Outcome::kReported, 6}, {Outcome::kOpened, 15}}},
    {"smb2_210_smbclient.pcap", {{Outcome::kReported, 6}, {Outcome::kOpened, 15}}},
    {"smb2_300_encrypted_other_client.pcap", {}},
    {"smb2_300_smbclient.pcap", {{Outcome::kReported, 6}, {Outcome::kOpened, 15}}},
    {"smb2_311_encrypted.pcap", {}},
    {"smb2_311_encrypted_share.pcap", {{Outcome::kReported, 1}}},
    {"smb2_311_signed.pcap", {{Outcome::kReported, 2}, {Outcome::kOpened, 4}}},
    {"smb2_311_smbclient.pcap", {{Outcome::kReported, 6}, {Outcome::kOpened, 15}}},
    {"smb2_compound.pcap", {{Outcome::kReported, 6}, {Outcome::kOpened, 6}}},
    {"smb2_dispositions_202.pcap", {{Outcome::kReported, 11}, {Outcome::kSuperseded, 2}, {Outcome::kOpened, 7}}},
    {"smb2_dispositions_300.pcap", {{Outcome::kReported, 14}, {Outcome::kSuperseded, 3}, {Outcome::kOpened, 9}}},
    {"smb2_from_smb1_negotiate.pcap", {{Outcome::kReported, 2}, {Outcome::kOpened, 3}}},
    {"smb2_ipv6.pcap", {{Outcome::kNotUntaggedIpv4, 21}}},
    {"smb2_kernel_202.pcap", {{Outcome::kReported, 6}, {Outcome::kOpened, 21}}},
    {"smb2_kernel_300.pcap", {{Outcome::kReported, 5}, {Outcome::kOpened, 18}}},
    {"smb2_large_write.pcap", {{Outcome::kReported, 2}, {Outcome::kOpened, 1}}},
    {"smb2_lo.pcap", {{Outcome::kReported, 6}, {Outcome::kOpened, 15}}},
    {"smb2_multi_share_session.pcap", {{Outcome::kReported, 14}, {Outcome::kOpened, 30}, {Outcome::kSharedId, 2}}},
    {"smb2_names.pcap", {{Outcome::kReported, 7}, {Outcome::kOpened, 6}, {Outcome::kNameTooLong, 3}}},
    {"smb2_vlan.pcap", {{Outcome::kNotUntaggedIpv4, 21}}},
    {"smb2_vlan_lossy.pcap", {{Outcome::kNotUntaggedIpv4, 63}}},
};

}  // namespace tarn::smb

#endif
