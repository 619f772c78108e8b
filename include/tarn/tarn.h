/* The thirteen exports of tarn.dll. Usable from C11 and C++20.
 *
 * Every export but WSDeinit tests its pointers first: a null one gives false (0) and changes nothing. Unless said
 * otherwise a uint8_t result is a boolean that says whether the call was handled; the verdict stands in the caller's
 * record. Scans may be called from many threads at once. WSInit, WSDeinit, WSShutDown and the two settings exports are
 * called while no scan runs, and one at a time.
 *
 * Call WSDeinit before FreeLibrary. Without it the companion modules stay loaded until the process ends, and nothing is
 * saved. While a weekly schedule runs, its thread keeps the library loaded as well: no code is unmapped under it, and
 * whoever loads the library again finds the state as it was; WSInit or WSDeinit then ends the thread. At process exit
 * the library does nothing: what is to be saved is saved by WSShutDown or WSDeinit before. */
#ifndef TARN_H
#define TARN_H

#include "companions.h"
#include "records.h"

#if defined(_WIN32) && !defined(TARN_BUILDING)
#define TARN_API __declspec(dllimport)
#else
#define TARN_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Loads the companion modules and settings. mode: 1 = restart with the saved DNS answers, 0 = fresh start.
 * On a ready library it first ends what is running, as WSDeinit does. On false nothing stays loaded. */
TARN_API uint8_t TARN_CALL WSInit(uint8_t mode, uint32_t* error);

/* Saves and releases everything and unloads the modules. Safe before WSInit and when called twice. Always true. */
TARN_API uint8_t TARN_CALL WSDeinit(uint32_t* error);

/* Saves the category cache (the arguments go to the categorisation module as they are) and the session records;
 * modules and settings stay loaded. */
TARN_API void TARN_CALL WSShutDown(uint64_t a, uint64_t b, uint64_t c, uint64_t d);

/* Re-reads one kind of setting, 0 to 8. The three arguments go to the first module call that the kind makes.
 * Non-zero = success. */
TARN_API uint32_t TARN_CALL WSSettingsChanged(uint32_t kind, uint64_t a, uint64_t b, uint64_t c);

/* Reloads the modules and records whose bits are set in *mask. */
TARN_API uint8_t TARN_CALL WSUpdateSettingsChanged(const uint32_t* mask);

/* Judges the first bytes of a connection. True when the verdict is valid, also for an allowed connection. */
TARN_API uint8_t TARN_CALL WSScanUrl(ScanRequest* request, UrlVerdict* verdict, PromptBytes* prompt);

/* Judges a whole URL: request->data is a NUL-terminated text; of the other fields only kind is read. */
TARN_API uint8_t TARN_CALL WSWebExtScanUrl(ScanRequest* request, UrlVerdict* verdict, PromptBytes* prompt);

/* Writes non-zero when any URL-scanning feature is on. */
TARN_API uint8_t TARN_CALL WSGetUrlScanFeatureStatus(uint8_t* status);

/* Examines one Ethernet frame. inbound: non-zero = the source address is the remote end. */
TARN_API uint8_t TARN_CALL WSScanPacket(const uint8_t* frame, uint32_t frameLength, uint16_t ruleId, uint8_t inbound,
                                        uint64_t reserved, PacketVerdict* verdict);

/* Resets the TCP connection of an outbound Ethernet frame (which has no length argument: hand over whole frames). */
TARN_API uint8_t TARN_CALL WSDropConnection(const uint8_t* frame);

/* Adds a web address to the list of blocked addresses. True also when nothing was added. */
TARN_API uint8_t TARN_CALL WSAddURLToIDSBlockedList(const IdsBlockRequest* request);

/* Records a session event of an account and says whether the account may use the machine now. */
TARN_API uint8_t TARN_CALL WSScanLogonEventForPCCTRL(const LogonEvent* event, LogonVerdict* verdict);

/* Follows SMB traffic and reports files that a server says it created or overwrote. */
TARN_API uint8_t TARN_CALL WSScanSMBPacket(const uint8_t* frame, uint32_t frameLength, uint8_t direction,
                                           SmbScanResult* result);

#ifdef __cplusplus
}
#endif

#endif /* TARN_H */
