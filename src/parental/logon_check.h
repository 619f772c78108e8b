// Judges the host's session events: may the account use the machine now, by its hour grid or its daily allowance?
// The caller holds the write side of the parental-control lock.
#ifndef TARN_PARENTAL_LOGON_CHECK_H
#define TARN_PARENTAL_LOGON_CHECK_H

#include "tarn/records.h"

#include "machine/local_time.h"
#include "parental/settings_copy.h"
#include "parental/user_sessions.h"

namespace tarn::parental {

// Enters the event and judges it. The verdict is preset to allow; what identifies the account is written only on a
// block. False, with the preset verdict, when the event cannot be entered. event and verdict are two records at any
// address.
bool ScanLogonEvent(const LogonEvent& event, LogonVerdict& verdict, UserSessionTable& table,
                    const SettingsCopy& settings, const machine::LocalClock& clock);

}  // namespace tarn::parental

#endif
