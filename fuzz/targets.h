// The bodies of all fuzz targets, one for each reader of bytes from outside.
// Their names and bounds stand in targets.cpp, their first inputs in seeds.cpp.
#ifndef TARN_FUZZ_TARGETS_H
#define TARN_FUZZ_TARGETS_H

#include "target.h"

namespace tarn::fuzz {

// From the wire.
void HttpRequest(Bytes input);
void FtpCommand(Bytes input);
void UrlPath(Bytes input);
void TlsHello(Bytes input);
void DnsResponse(Bytes input);
void EthernetFrames(Bytes input);
void PacketScan(Bytes input);
void SmbFrames(Bytes input);
void AddressLiteral(Bytes input);
void IdsBlocked(Bytes input);

// From the wire, made right and broken in one place now and then.
void MadeFrame(Bytes input);
void MadeTlsHello(Bytes input);
void MadeDnsMessage(Bytes input);
void MadeSmb(Bytes input);

// From the modules and from files.
void SiteRules(Bytes input);
void AllowedSites(Bytes input);
void UrlLists(Bytes input);
void ThreatLists(Bytes input);
void SavedSessions(Bytes input);
void SavedDnsAnswers(Bytes input);
void ProductData(Bytes input);
void BrowserExclusions(Bytes input);
void PolicyFile(Bytes input);
void ListFile(Bytes input);
void CaptureFile(Bytes input);
void ComposedUrl(Bytes input);
void ModuleRecord(Bytes input);
void MadeCapture(Bytes input);
void ReplayedCapture(Bytes input);
void EventLines(Bytes input);
void CaseFile(Bytes input);
void PolicyRepair(Bytes input);
void CommandTexts(Bytes input);

// Whole scans.
void UrlScan(Bytes input);
void ExtensionScan(Bytes input);

// The library as hosts call it.
void Exports(Bytes input);

}  // namespace tarn::fuzz

#endif
