#include "host/protocol_choice.h"

#include <algorithm>
#include <cstddef>

#include "tarn/records.h"

#include "host/ports.h"

namespace tarn::host {

namespace {

constexpr std::uint16_t kFtpPort = 21;

constexpr std::string_view kMethods[] = {"GET",     "HEAD",    "POST",  "PUT",  "DELETE",
                                         "CONNECT", "OPTIONS", "TRACE", "PATCH"};

// "METHOD target": one of the usual methods, or any word whose line also names HTTP/1.
bool LooksLikeHttp(const Utterance& utterance) {
    constexpr std::size_t kMaxMethod = 24;
    if (!utterance.isTcp || !utterance.fromClient) return false;
    const std::string_view text(reinterpret_cast<const char*>(utterance.data.data()), utterance.data.size());
    const std::size_t blank = text.substr(0, kMaxMethod + 1).find(' ');
    if (blank == 0 || blank == std::string_view::npos) return false;
    const std::string_view method = text.substr(0, blank);
    if (std::find(std::begin(kMethods), std::end(kMethods), method) != std::end(kMethods)) return true;
    const bool isWord = std::all_of(method.begin(), method.end(), [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-';
    });
    const std::size_t version = text.find(" HTTP/1.");
    return isWord && version < text.find('\n') && version != blank;
}

bool LooksLikeTlsHello(const Utterance& utterance) {
    if (!utterance.isTcp || !utterance.fromClient) return false;
    base::ByteReader reader(utterance.data);
    std::uint8_t contentType = 0;
    std::uint8_t versionMajor = 0;
    std::uint8_t handshakeType = 0;
    return reader.Be(contentType) && reader.Be(versionMajor) && reader.Skip(3) && reader.Be(handshakeType) &&
           contentType == 22 && versionMajor == 3 && handshakeType == 1;
}

// Behind "AUTH TLS" the commands are sealed.
bool IsTlsRecord(base::Bytes data) {
    base::ByteReader reader(data);
    std::uint8_t contentType = 0;
    std::uint8_t versionMajor = 0;
    return reader.Be(contentType) && reader.Be(versionMajor) && contentType >= 20 && contentType <= 23 &&
           versionMajor == 3;
}

bool IsFtpCommand(const Utterance& utterance) {
    return utterance.isTcp && utterance.fromClient && utterance.serverPort == kFtpPort && !IsTlsRecord(utterance.data);
}

// Over UDP only: a TCP server may spread a message over segments.
bool IsDnsAnswer(const Utterance& utterance) {
    return !utterance.isTcp && !utterance.fromClient && utterance.serverPort == kDnsPort;
}

// What a connection says counts before the port it says it on.
constexpr Protocol kProtocols[] = {
    {"http", TARN_KIND_HTTP, LooksLikeHttp, ViewHttpRequest},
    {"tls", TARN_KIND_TLS, LooksLikeTlsHello, ViewTlsHello},
    {"ftp", TARN_KIND_FTP, IsFtpCommand, ViewFtpCommand},
    {"dns", TARN_KIND_HTTP, IsDnsAnswer, ViewDnsMessage},  // the scan knows DNS by the port alone
};

}  // namespace

const Protocol* ChooseProtocol(const Utterance& utterance) {
    for (const Protocol& protocol : kProtocols)
        if (protocol.fits(utterance)) return &protocol;
    return nullptr;
}

const Protocol& HttpProtocol() {
    return kProtocols[0];
}

const Protocol& TlsProtocol() {
    return kProtocols[1];
}

}  // namespace tarn::host
