#include "host/serve/ftp_judge.h"

#include <fmt/format.h>
#include <utility>
#include <vector>

#include "host/serve/ftp_data.h"
#include "host/verdict_words.h"

namespace tarn::host::serve {

namespace {

const Protocol& FtpProtocol() {
    static const Protocol& ftp = *ChooseProtocol({{}, kFtpPort, true, true});
    return ftp;
}

std::string RefusalFor(const Answer& answer) {
    const std::string why =
        answer.whyRefused.empty() ? std::string(ReasonWords(answer.judgement.verdict.reason)) : answer.whyRefused;
    return fmt::format("550 Blocked: {}.\r\n", why);
}

}  // namespace

std::string FtpJudge::RefusalOf(const FtpCommand& command) const {
    std::vector<std::string> forms = folder_.JudgedForms(command);
    const std::string first = std::exchange(forms.front(), {});
    forms.erase(forms.begin());
    const base::Bytes data{reinterpret_cast<const std::uint8_t*>(first.data()), first.size()};
    Asked asked{&FtpProtocol(), data, server_.client, server_.First(), server_.processId};
    asked.alsoAs = std::move(forms);
    const Answer answer = filter_.Judge(asked);
    return answer.isBlocked ? RefusalFor(answer) : std::string();
}

bool FtpJudge::IsBlockedNow() const {
    NamedServer server = server_;
    server.isAgain = true;
    return JudgeName(filter_, server).isBlocked;
}

}  // namespace tarn::host::serve
