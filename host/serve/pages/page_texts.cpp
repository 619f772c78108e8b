#include "host/serve/pages/page_texts.h"

#include <algorithm>

#include "tarn/records.h"

#include "base/text.h"

namespace tarn::host::serve {

namespace {

constexpr PageText kTexts[] = {
    {"blocked.title", {"Blocked", "Gesperrt"}},
    {"blocked.lead", {"This page was not opened.", "Diese Seite wurde nicht geöffnet."}},
    {"blocked.what", {"What was asked for", "Was aufgerufen wurde"}},
    {"blocked.address", {"Address", "Adresse"}},
    {"blocked.why", {"Why", "Warum"}},
    {"blocked.reason", {"Reason", "Grund"}},
    {"blocked.threat", {"Threat", "Bedrohung"}},
    {"blocked.category", {"Category", "Kategorie"}},
    {"blocked.details", {"Details", "Einzelheiten"}},
    {"blocked.user", {"Rules of", "Regeln von"}},
    {"blocked.entry", {"Entry of the policy", "Eintrag der Regeldatei"}},
    {"blocked.list", {"List", "Liste"}},
    {"blocked.place", {"Where it stands", "Wo er steht"}},
    {"blocked.line", {"{file}, line {line}", "{file}, Zeile {line}"}},
    {"blocked.again", {"Allowed again", "Wieder erlaubt"}},
    {"blocked.againNever", {"at no time of the week", "zu keiner Zeit der Woche"}},
    {"blocked.time", {"Time of this answer", "Zeit dieser Antwort"}},
    {"blocked.allow", {"How to allow it", "So wird sie erlaubt"}},
    {"blocked.allowLead", {"Whoever keeps the policy can do this:", "Wer die Regeldatei pflegt, kann Folgendes tun:"}},
    {"blocked.allowMore",
     {"“tarnhost explain” with this address shows every rule that was asked and what to write. A change of the policy "
      "counts at once: load the page again.",
      "„tarnhost explain“ mit dieser Adresse zeigt jede befragte Regel und was zu schreiben ist. Eine Änderung der "
      "Regeldatei gilt sofort: Laden Sie die Seite danach neu."}},
    {"blocked.footer",
     {"This page comes from the filter on this network, not from the site.",
      "Diese Seite kommt vom Filter dieses Netzes, nicht von der Website."}},

    {"error.400.title", {"This request cannot be sent on", "Diese Anfrage lässt sich nicht weiterleiten"}},
    {"error.400.next",
     {"Check the address; if it is right, the program that asked for it is at fault.",
      "Prüfen Sie die Adresse; stimmt sie, so liegt es an dem Programm, das sie aufgerufen hat."}},
    {"error.403.title", {"This address is not reached over the filter", "Diese Adresse erreicht der Filter nicht"}},
    {"error.403.next",
     {"It belongs to the filter itself, to the machine that it runs on, or to none that is asked for others.",
      "Sie gehört dem Filter selbst, dem Rechner, auf dem er läuft, oder wird nicht für andere aufgerufen."}},
    {"error.431.title", {"This request is too long", "Diese Anfrage ist zu lang"}},
    {"error.431.next",
     {"Removing the cookies of the site in the browser often helps.",
      "Oft hilft es, im Browser die Cookies der Website zu löschen."}},
    {"error.502.title", {"The site cannot be reached", "Die Website ist nicht erreichbar"}},
    {"error.502.next",
     {"It is not blocked. Check the address, and try again in a while.",
      "Sie ist nicht gesperrt. Prüfen Sie die Adresse, und versuchen Sie es später noch einmal."}},
    {"error.other.title", {"This request was not sent on", "Diese Anfrage wurde nicht weitergeleitet"}},
    {"error.other.next", {"Try again in a while.", "Versuchen Sie es später noch einmal."}},

    {"day.0", {"Sunday", "Sonntag"}},
    {"day.1", {"Monday", "Montag"}},
    {"day.2", {"Tuesday", "Dienstag"}},
    {"day.3", {"Wednesday", "Mittwoch"}},
    {"day.4", {"Thursday", "Donnerstag"}},
    {"day.5", {"Friday", "Freitag"}},
    {"day.6", {"Saturday", "Samstag"}},
    {"day.today", {"today", "heute"}},
    {"day.tomorrow", {"tomorrow", "morgen"}},
    {"day.at", {"{day} at {time}", "{day} um {time} Uhr"}},

    {"status.title", {"What the filter does", "Was der Filter tut"}},
    {"status.skip", {"To the live verdicts", "Zu den laufenden Urteilen"}},
    {"status.noScript",
     {"This page needs JavaScript, which is switched off here.",
      "Diese Seite braucht JavaScript, das hier abgeschaltet ist."}},
    {"status.connecting", {"Connecting …", "Verbindung wird aufgebaut …"}},
    {"status.live", {"Live", "Verbunden"}},
    {"status.lost",
     {"The filter does not answer. Trying again; is it still running?",
      "Der Filter antwortet nicht. Neuer Versuch läuft; ist er noch in Betrieb?"}},
    {"status.totals", {"Totals", "Summen"}},
    {"status.requests", {"requests", "Anfragen"}},
    {"status.blocked", {"blocked", "gesperrt"}},
    {"status.allowed", {"allowed", "erlaubt"}},
    {"status.none", {"without a verdict", "ohne Urteil"}},
    {"status.refused", {"refused", "abgewiesen"}},
    {"status.connections", {"open connections", "offene Verbindungen"}},
    {"status.unknownClients",
     {"connections of clients without a known program", "Verbindungen von Clients ohne bekanntes Programm"}},
    {"status.turnedAway", {"closed because all places were taken", "getrennt, weil alle Plätze belegt waren"}},
    {"status.internalErrors", {"refused for an internal error", "wegen interner Fehler abgewiesen"}},
    {"status.unexamined.hello_split", {"a TLS hello that is not whole", "ein unvollständiger TLS-Gruß"}},
    {"status.unexamined.ech",
     {"a hello that may hide the name that is meant", "ein Gruß, der den gemeinten Namen verbergen kann"}},
    {"status.unexamined.http2",
     {"HTTP/2 without encryption, which is not judged", "unverschlüsseltes HTTP/2, das nicht beurteilt wird"}},
    {"status.unexamined.unknown_protocol", {"an unknown protocol", "ein unbekanntes Protokoll"}},
    {"status.policy", {"Policy", "Regeldatei"}},
    {"status.policyUsed", {"In force:", "In Kraft:"}},
    {"status.policyNone", {"No policy is in force.", "Es ist keine Regeldatei in Kraft."}},
    {"status.policyKept",
     {"The newest text {text}; what was read before stays in force.",
      "Der neueste Text wird nicht benutzt ({text}); was vorher gelesen wurde, bleibt in Kraft."}},
    {"status.policyGood", {"It has no mistakes.", "Sie hat keine Fehler."}},
    {"status.policyAtRestart",
     {"What changed in the table [serve] counts when the server starts again.",
      "Was sich in der Tabelle [serve] geändert hat, gilt, wenn der Server neu startet."}},
    {"status.mistakes", {"Mistakes", "Fehler"}},
    {"status.warnings", {"Warnings", "Warnungen"}},
    {"status.judge", {"Judge an address", "Eine Adresse beurteilen"}},
    {"status.judgeLabel", {"Address", "Adresse"}},
    {"status.judgeButton", {"Explain", "Erklären"}},
    {"status.judgeNote",
     {"Nothing is fetched and nothing changes; the filter says how it would judge.",
      "Es wird nichts abgerufen und nichts geändert; der Filter sagt, wie er urteilen würde."}},
    {"status.judgeBusy", {"Asking …", "Wird befragt …"}},
    {"status.judgeFailed",
     {"The filter did not answer; try again.", "Der Filter hat nicht geantwortet; neuer Versuch?"}},
    {"status.decided", {"Decided by", "Entschieden von"}},
    {"status.remedyAllow", {"To allow it, write", "Um sie zu erlauben, schreiben Sie"}},
    {"status.remedyBlock", {"To block it, write", "Um sie zu sperren, schreiben Sie"}},
    {"status.remedy", {"To have it otherwise:", "Damit es anders wird:"}},
    {"status.steps", {"The rules in their order", "Die Regeln in ihrer Reihenfolge"}},
    {"status.rule", {"Rule", "Regel"}},
    {"status.found", {"What it found", "Was sie fand"}},
    {"status.reasons", {"Blocked, by reason", "Gesperrt, nach Grund"}},
    {"status.sites", {"Sites blocked most", "Am häufigsten gesperrt"}},
    {"status.count", {"Count", "Anzahl"}},
    {"status.reason", {"Reason", "Grund"}},
    {"status.site", {"Site", "Website"}},
    {"status.nothingBlocked", {"Nothing was blocked yet.", "Bisher wurde nichts gesperrt."}},
    {"status.verdicts", {"Live verdicts", "Laufende Urteile"}},
    {"status.pause", {"Pause", "Anhalten"}},
    {"status.resume", {"Go on", "Fortsetzen"}},
    {"status.onlyBlocked", {"Only what is blocked or refused", "Nur Gesperrtes und Abgewiesenes"}},
    {"status.time", {"Time", "Zeit"}},
    {"status.verdict", {"Verdict", "Urteil"}},
    {"status.address", {"Address", "Adresse"}},
    {"status.entry", {"Entry", "Eintrag"}},
    {"status.skipped", {"left out, because they came too fast:", "ausgelassen, weil sie zu schnell kamen:"}},
    {"status.empty", {"No request was judged yet.", "Bisher wurde keine Anfrage beurteilt."}},
    {"status.footer",
     {"This page shows and explains; it changes nothing. Times are those of this browser.",
      "Diese Seite zeigt und erklärt; sie ändert nichts. Die Zeiten sind die dieses Browsers."}},
};

struct ReasonRow {
    std::uint32_t reason;
    std::array<ReasonTexts, kLanguages.size()> texts;
};

constexpr ReasonTexts kNotJudged[] = {
    {"no verdict", "The filter could not judge this request",
     "Only what could be judged is let through here, and this request could not be.",
     "Say unknown = \"pass\" in the [serve] table to let such requests pass unjudged."},
    {"kein Urteil", "Der Filter konnte diese Anfrage nicht beurteilen",
     "Hier wird nur durchgelassen, was beurteilt werden konnte, und das war bei dieser Anfrage nicht möglich.",
     "Mit unknown = \"pass\" in der Tabelle [serve] werden solche Anfragen unbeurteilt durchgelassen."},
};

constexpr ReasonTexts kOther[] = {
    {"blocked by a rule", "A rule blocks this address", "A rule of the policy blocks it.",
     "Take the entry out of the policy."},
    {"durch eine Regel gesperrt", "Eine Regel sperrt diese Adresse", "Eine Regel der Regeldatei sperrt sie.",
     "Nehmen Sie den Eintrag aus der Regeldatei heraus."},
};

constexpr ReasonRow kReasonTexts[] = {
    {TARN_REASON_PHISHING,
     {{{"phishing site", "This site is known for phishing",
        "It imitates another site to get at passwords, card numbers or personal data. If you have typed any of them "
        "there before, change them.",
        "If the site is listed by mistake, add it to user under [white_lists]."},
       {"Phishing-Website", "Diese Website ist für Phishing bekannt",
        "Sie ahmt eine andere nach, um an Passwörter, Kartennummern oder persönliche Daten zu kommen. Wenn Sie dort "
        "schon etwas davon eingegeben haben, ändern Sie es.",
        "Ist die Website irrtümlich gelistet, nehmen Sie sie unter [white_lists] in user auf."}}}},
    {TARN_REASON_MALICIOUS,
     {{{"malicious site", "This site is known to be malicious",
        "It is known to spread harmful programs or to attack its visitors.",
        "If the site is listed by mistake, add it to user under [white_lists]."},
       {"schädliche Website", "Diese Website ist als schädlich bekannt",
        "Sie ist dafür bekannt, Schadprogramme zu verbreiten oder ihre Besucher anzugreifen.",
        "Ist die Website irrtümlich gelistet, nehmen Sie sie unter [white_lists] in user auf."}}}},
    {TARN_REASON_MALICIOUS_CATEGORY,
     {{{"malicious category", "This site is in a malicious category",
        "Sites of this category spread harmful programs or attack their visitors.",
        "If the site is in the wrong category, add it to browsing_protection under [white_lists]."},
       {"schädliche Kategorie", "Diese Website gehört zu einer schädlichen Kategorie",
        "Websites dieser Kategorie verbreiten Schadprogramme oder greifen ihre Besucher an.",
        "Ist die Kategorie falsch, nehmen Sie die Website unter [white_lists] in browsing_protection auf."}}}},
    {TARN_REASON_SCHEDULE,
     {{{"outside the allowed time", "The web is not allowed at this time", "The weekly schedule does not allow it now.",
        "Change the times under [parental.users.schedule], or add the site to schedule_allowed_sites."},
       {"außerhalb der erlaubten Zeit", "Das Web ist zu dieser Zeit nicht erlaubt",
        "Der Wochenplan erlaubt es jetzt nicht.",
        "Ändern Sie die Zeiten unter [parental.users.schedule], oder nehmen Sie die Website in "
        "schedule_allowed_sites auf."}}}},
    {TARN_REASON_PARENTAL_SITE,
     {{{"site blocked by parental control", "This site is blocked by parental control",
        "It stands in the list of blocked sites.",
        "Take the entry out of blocked_sites, or add the site to allowed_sites of the same user."},
       {"durch Jugendschutz gesperrte Website", "Diese Website ist durch die Jugendschutzregeln gesperrt",
        "Sie steht in der Liste der gesperrten Websites.",
        "Nehmen Sie den Eintrag aus blocked_sites heraus, oder nehmen Sie die Website in allowed_sites desselben "
        "Benutzers auf."}}}},
    {TARN_REASON_PARENTAL_CATEGORY,
     {{{"category blocked by parental control", "Sites of this category are blocked by parental control",
        "Its category is one of the blocked ones.",
        "Take the category out of blocked_categories, or add the site to allowed_sites of the same user."},
       {"durch Jugendschutz gesperrte Kategorie",
        "Websites dieser Kategorie sind durch die Jugendschutzregeln gesperrt",
        "Ihre Kategorie gehört zu den gesperrten.",
        "Nehmen Sie die Kategorie aus blocked_categories heraus, oder nehmen Sie die Website in allowed_sites "
        "desselben Benutzers auf."}}}},
    {TARN_REASON_HTTPS_INSPECTION,
     {{{"HTTPS inspection", "Secure connections to this host are blocked", "HTTPS inspection lists this host.",
        "Take the host out of blocked_hosts under [https_inspection]."},
       {"HTTPS-Prüfung", "Sichere Verbindungen zu diesem Host sind gesperrt",
        "Die HTTPS-Prüfung führt diesen Host in ihrer Liste.",
        "Nehmen Sie den Host unter [https_inspection] aus blocked_hosts heraus."}}}},
    {TARN_REASON_IDS_BLOCKED,
     {{{"blocked by intrusion prevention", "This address is blocked after an attack",
        "An attack had to do with it, so it is blocked for now.",
        "It is allowed again when the filter is started anew, or with intrusion_prevention = false."},
       {"vom Angriffsschutz gesperrt", "Diese Adresse ist nach einem Angriff gesperrt",
        "Sie hatte mit einem Angriff zu tun und ist deshalb vorerst gesperrt.",
        "Sie ist wieder erlaubt, wenn der Filter neu gestartet wird, oder mit intrusion_prevention = false."}}}},
};

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string_view TakePart(std::string_view& rest, char end) {
    const std::size_t at = rest.find(end);
    const std::string_view part = rest.substr(0, at);
    rest = at == std::string_view::npos ? std::string_view() : rest.substr(at + 1);
    return Trimmed(part);
}

// In thousandths; a weight that is none refuses the language.
int WeightOf(std::string_view parameters) {
    while (!parameters.empty()) {
        std::string_view one = TakePart(parameters, ';');
        if (!base::StartsWithIgnoringCase(one, "q=")) continue;
        one.remove_prefix(2);
        const bool isNumber =
            !one.empty() && one.size() <= 5 && (one[0] == '0' || one[0] == '1') && (one.size() == 1 || one[1] == '.');
        if (!isNumber) return 0;
        int weight = one[0] == '1' ? 1000 : 0;
        int step = 100;
        for (const char digit : one.substr(std::min<std::size_t>(2, one.size()))) {
            if (digit < '0' || digit > '9') return 0;
            weight += (digit - '0') * step;
            step /= 10;
        }
        return weight > 1000 ? 0 : weight;
    }
    return 1000;
}

}  // namespace

Language ChooseLanguage(std::string_view acceptLanguage) {
    Language best = 0;
    int most = 0;
    while (!acceptLanguage.empty()) {
        std::string_view range = TakePart(acceptLanguage, ',');
        const std::string_view name = TakePart(range, ';');
        const int weight = WeightOf(range);
        if (weight <= most) continue;
        for (Language language = 0; language < kLanguages.size(); ++language) {
            const std::string_view known = kLanguages[language];
            const bool isMeant =
                name == "*" ? language == 0 : base::EqualIgnoringCase(name.substr(0, name.find('-')), known);
            if (!isMeant) continue;
            best = language;
            most = weight;
        }
    }
    return best;
}

std::span<const PageText> PageTexts() {
    return kTexts;
}

std::string_view Say(std::string_view key, Language language) {
    for (const PageText& text : kTexts)
        if (text.key == key) return text.texts.at(language);
    return {};
}

ReasonTexts SayReason(std::uint32_t reason, Language language) {
    for (const ReasonRow& row : kReasonTexts)
        if (row.reason == reason) return row.texts.at(language);
    return kOther[language];
}

ReasonTexts SayNotJudged(Language language) {
    return kNotJudged[language];
}

}  // namespace tarn::host::serve
