/* The thirteen exports of tarn.dll. Usable from C11 and C++20. docs/integration.md leads through them.
 *
 * Results. A uint8_t result is a boolean. Every export but WSDeinit tests its pointers first: a null one gives false
 * (0) and changes nothing. True means that the call was handled and that the verdict in the caller's record counts,
 * also when it allows. False means that there is no verdict: the host decides by itself whether to let pass (the
 * machine stays usable) or to block (nothing passes unjudged), and writes down that it did. No export throws.
 *
 * Ownership. All records and buffers are the caller's, at any address, and are used during the call alone.
 *
 * Threads. Any thread may call the scans, WSGetUrlScanFeatureStatus, WSDropConnection and WSAddURLToIDSBlockedList, any
 * number at once. WSInit, WSDeinit, WSShutDown, WSSettingsChanged and WSUpdateSettingsChanged are called one at a time,
 * while no other export runs: a host with several threads takes a reader/writer lock, the five with its write side.
 * None is called from DllMain.
 *
 * The end. Call WSDeinit before FreeLibrary. Without it the companion modules stay loaded until the process ends, and
 * nothing is saved. While a weekly schedule runs, its thread keeps the library loaded as well: no code is unmapped
 * under it, and whoever loads the library again finds the state as it was; WSInit or WSDeinit then ends the thread. At
 * process exit the library does nothing: what is to be saved is saved by WSShutDown or WSDeinit before. */
#ifndef TARN_H
#define TARN_H

#include "companions.h"
#include "records.h"
#include "values.h"
#include "version.h"

#if defined(_WIN32) && !defined(TARN_BUILDING)
#define TARN_API __declspec(dllimport)
#else
#define TARN_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Loads the companion modules of the install folder and all settings. The folder is looked up at each call:
 *
 *     HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\App Paths\CoreScan.exe
 *     value "Path", for example  C:\Program Files\Example\   with the backslash at its end
 *
 * mode: TARN_START_FRESH or TARN_START_RESTART; any other value does what both have in common.
 * error: set it to 0 before; it is handed to every module call. On true it is 0. On false it is what the module that
 * failed put there, if anything: the library has no numbers of its own, and without the key it is left as it was.
 * True also when some settings could not be read: they are off or empty then.
 * False: the key is missing, or setrd.dll, statrd.dll, pktsig.dll or sitecls.dll does not load, lacks a function or
 * does not start, or memory or a thread is missing. Nothing stays loaded. Scans may still be called: every feature is
 * off, and none blocks. On a ready library WSInit first ends what is running, as WSDeinit does. */
TARN_API uint8_t TARN_CALL WSInit(uint8_t mode, uint32_t* error);

/* Saves the DNS answers and the session records, releases everything, unloads the modules and empties the list of
 * WSAddURLToIDSBlockedList. Safe before WSInit and when called twice. error may be null; it is 0 or what a module left.
 * Always true. */
TARN_API uint8_t TARN_CALL WSDeinit(uint32_t* error);

/* For a machine that shuts down: saves the category cache (a to d go to the categorisation module as they are; the
 * reference module reads none) and the session records. Modules and settings stay loaded, and scans may follow. The DNS
 * answers are saved by WSDeinit alone. Does nothing when the categorisation module is not loaded. */
TARN_API void TARN_CALL WSShutDown(uint64_t a, uint64_t b, uint64_t c, uint64_t d);

/* Reads one kind of setting again: TARN_SETTINGS_... a, b and c go behind the own arguments of the first module call
 * that the kind makes; 0 for all three unless your modules want something else.
 * Non-zero = success. 0: the kind does not exist, or a read or a reload failed, and what could not be read is off or
 * empty now. Say so to whoever is responsible; TARN_SETTINGS_EVERYTHING or WSInit tries again. */
TARN_API uint32_t TARN_CALL WSSettingsChanged(uint32_t kind, uint64_t a, uint64_t b, uint64_t c);

/* Reloads the modules, and reads the records, whose TARN_UPDATED_... bits are set in *mask. A new file of a module has
 * to be in its place before; Windows lets the loaded one be renamed, not overwritten.
 * False: the install folder is not registered any more, or a module does not load. Then the modules behind it are
 * untouched, and what needs the missing one is not judged until a call succeeds. */
TARN_API uint8_t TARN_CALL WSUpdateSettingsChanged(const uint32_t* mask);

/* Judges the first bytes of a connection, or the message of a DNS server (remote port 53), whose answers the library
 * remembers to name TLS connections without a server name. The verdict begins as allowed, TARN_REASON_DEFAULT.
 * True when the verdict is valid, also for an allowed connection.
 * False: no data, a text that does not fit, a DNS message that cannot be read, a failed category look-up (of an IPv6
 * literal too), or a requesting user who cannot be found where the verdict needs him. The verdict is no answer then. */
TARN_API uint8_t TARN_CALL WSScanUrl(ScanRequest* request, UrlVerdict* verdict, PromptBytes* prompt);

/* Judges a whole URL as a browser's extension has it: request->data is its text with "://" in it, NUL-terminated, at
 * most 1023 characters; kind is TARN_KIND_TLS, every other kind is allowed unseen. Nothing else of the request is read:
 * the user is that of the calling process.
 * False: the text is none, or parental control is absent, or what WSScanUrl says. */
TARN_API uint8_t TARN_CALL WSWebExtScanUrl(ScanRequest* request, UrlVerdict* verdict, PromptBytes* prompt);

/* Writes non-zero when browsing protection or anti-phishing is on or when, with TARN_PC_ONE_FOR_ALL, parental control
 * blocks sites or categories. Entries per user, the schedule and the IDS list do not count. */
TARN_API uint8_t TARN_CALL WSGetUrlScanFeatureStatus(uint8_t* status);

/* Examines one Ethernet frame: first for connections of known malicious addresses to services of this machine, then
 * with the packet signatures. ruleId: the IDS rule whose texts describe a finding, whatever was found; a number that no
 * rule has, such as 0, leaves the texts to the module. inbound: TARN_INBOUND = the source address is the remote end.
 * reserved: 0, not read. True whenever there is a frame; without intrusion prevention every frame is allowed. */
TARN_API uint8_t TARN_CALL WSScanPacket(const uint8_t* frame, uint32_t frameLength, uint16_t ruleId, uint8_t inbound,
                                        uint64_t reserved, PacketVerdict* verdict);

/* Resets the TCP connection that an Ethernet frame belongs to. The frame has no length: it must hold all headers of
 * IPv4 and the ports. It must have been sent by this machine, since the source counts as the local end. False: the
 * protocol is not TCP, or the system refuses (no such connection, no administrator's rights). */
TARN_API uint8_t TARN_CALL WSDropConnection(const uint8_t* frame);

/* Adds a web address to the list that WSScanUrl blocks with TARN_REASON_IDS_BLOCKED while intrusion prevention is on.
 * The list lasts until WSInit or WSDeinit. True also when nothing was added: no host, a path that is none, known. */
TARN_API uint8_t TARN_CALL WSAddURLToIDSBlockedList(const IdsBlockRequest* request);

/* Records a session event of an account and says whether the account may use the machine now. Events are handled one
 * after the other. Call it with TARN_EVENT_TICK once a minute for each account that uses the machine.
 * False, with the verdict "allow": the identifier is invalid, the account is new and the event enters none, or the
 * clock has no date. */
TARN_API uint8_t TARN_CALL WSScanLogonEventForPCCTRL(const LogonEvent* event, LogonVerdict* verdict);

/* Follows SMB traffic and reports files that a server says it created or overwrote. Hand over every frame of port 445
 * in its order, both directions, from the connection's start. direction: TARN_INBOUND or TARN_OUTBOUND, for the host's
 * own use; no rule reads it.
 * True with TARN_SMB_FILE_EVENT: a file; a name that does not fit is cut. True with TARN_SMB_NOTHING: followed, nothing
 * to report. False: not followed: another protocol or port, cut short, or it fits nothing that was seen before. That is
 * everyday and no reason to block. */
TARN_API uint8_t TARN_CALL WSScanSMBPacket(const uint8_t* frame, uint32_t frameLength, uint8_t direction,
                                           SmbScanResult* result);

#ifdef __cplusplus
}
#endif

#endif /* TARN_H */
