// tarnhost serve: a filter that browsers and other programs go through.
#include <cstdlib>
#include <fmt/format.h>
#include <memory>
#include <optional>

#include "host/address_replacements.h"
#include "host/commands/command.h"
#include "host/file_path.h"
#include "host/policy_file.h"
#include "host/policy_follower.h"
#include "host/printable_text.h"
#include "host/serve/event_file.h"
#include "host/serve/life.h"
#include "host/serve/line_writer.h"
#include "host/serve/serve_settings.h"

namespace tarn::host {

namespace {

// What stands above the table [serve] of the policy.
struct ServeOptions {
    std::optional<std::string> proxy;
    std::optional<std::string> socks;
    std::optional<std::string> dns;
    std::optional<std::string> status;
    std::vector<std::string> dnsUpstream;
    std::optional<std::string> dnsRefused;
    std::optional<std::string> blockPageAddress;
    std::optional<std::string> unknown;
    std::optional<std::uint32_t> drainSeconds;
    std::optional<std::uint32_t> headSeconds;
    std::optional<std::uint32_t> silenceSeconds;
    std::optional<std::uint32_t> idleSeconds;
    std::optional<std::uint32_t> connections;
    std::optional<std::string> events;
    std::optional<std::uint32_t> eventsMegabytes;
    std::optional<std::uint32_t> eventsFiles;
    std::vector<std::string> hosts;
    std::string service;

    void WriteOver(policy::ServeTable& table) const {
        const auto write = [](const auto& option, auto& value) {
            if (option) value = *option;
        };
        write(proxy, table.proxy);
        write(socks, table.socks);
        write(dns, table.dns);
        write(status, table.status);
        if (!dnsUpstream.empty()) table.dnsUpstream = dnsUpstream;
        write(dnsRefused, table.dnsRefused);
        write(blockPageAddress, table.blockPageAddress);
        write(unknown, table.unknown);
        write(drainSeconds, table.drainSeconds);
        write(headSeconds, table.headSeconds);
        write(silenceSeconds, table.silenceSeconds);
        write(idleSeconds, table.idleSeconds);
        write(connections, table.connections);
        write(events, table.events);
        write(eventsMegabytes, table.eventsMegabytes);
        write(eventsFiles, table.eventsFiles);
        table.hosts.insert(table.hosts.end(), hosts.begin(), hosts.end());
    }
};

int RemoveService(const Session& session) {
    std::string mistake;
    if (!session.environment.RemoveService(mistake)) return session.Fail(mistake, kExitFailed);
    session.out << "the service tarnhost is removed\n";
    return kExitOk;
}

// Where the events go. Neither a pause of whoever reads the output nor a slow disk holds the filter up.
class Outputs {
 public:
    Outputs(serve::EventHub& hub, const Session& session, const serve::ServeSettings& settings)
        : printed_({[out = &session.out, isJson = session.json](const std::string& text) {
                        // The writer's own line about what is missing is an event, for people, too.
                        const bool isEvent = text.starts_with("{\"type\":\"error\"");
                        if (isJson)
                            *out << text << '\n';
                        else
                            *out << (isEvent ? serve::TextForPeople(Event::parse(text), false) : text);
                    },
                    [out = &session.out] { out->flush(); }}) {
        starting_ = hub.SubscribeEvents([environment = &session.environment](const serve::SharedEvent& event) {
            if (event->value("type", "") == "serve") environment->TellServing();
        });
        if (session.json)
            printing_ = hub.Subscribe([this](const std::string& line) { printed_.Put(line); });
        else
            printing_ = hub.SubscribeEvents([this, isQuiet = session.quiet](const serve::SharedEvent& event) {
                if (const std::string text = serve::TextForPeople(*event, isQuiet); !text.empty()) printed_.Put(text);
            });
        if (settings.eventsFile.empty()) return;
        const auto file = std::make_shared<serve::EventFile>(
            settings.eventsFile, settings.eventsBytes, settings.eventsFiles,
            [errors = &session.errors](const std::string& text) { *errors << "tarnhost: " << text << std::endl; });
        saved_ = std::make_unique<serve::LineWriter>(
            serve::LineWriter::Sink{[file](const std::string& line) { file->Write(line); }, [file] { file->Flush(); }});
        saving_ = hub.Subscribe([this](const std::string& line) { saved_->Put(line); });
    }

    // False when the output or the file still holds a thread.
    bool End() {
        const bool isSaved = !saved_ || saved_->End();
        return printed_.End() && isSaved;
    }

 private:
    serve::LineWriter printed_;
    std::unique_ptr<serve::LineWriter> saved_;
    serve::EventHub::Subscription starting_;
    serve::EventHub::Subscription printing_;
    serve::EventHub::Subscription saving_;
};

int Filtering(const ServeOptions& options, const Session& session, serve::EventHub& hub,
              std::unique_ptr<Outputs>& outputs) {
    if (options.service == "remove") return RemoveService(session);
    Environment& environment = session.environment;
    const std::string file = PolicyPath(environment, session.library);
    if (!ReadPolicyText(file))
        return session.Fail(fmt::format("{}: cannot be read, and without a policy there is nothing to filter by; name "
                                        "it: --policy FILE",
                                        Printable(file)),
                            kExitFailed);
    serve::HubOutput policyEvents(hub);
    std::ostream policyOutput(&policyEvents);
    const auto pause = [&](std::chrono::milliseconds time) { environment.Pause(time); };
    PolicyFollower follower(file, SidsOf(environment), pause, policyOutput, true);
    follower.UseAsciiHost([&environment](const std::string& host) { return environment.AsciiHost(host); });
    std::string mistake;
    if (!follower.Begin(mistake)) return session.Fail(mistake, kExitFailed);
    policy::ServeTable table = follower.Used()->serve;
    options.WriteOver(table);
    serve::ServeSettings settings;
    if (!serve::ReadSettings(table, settings, mistake)) return session.Fail(mistake, kExitUsage);
    if (!ParseReplacements(session.replacements, settings.replacements, mistake))
        return session.Fail(mistake, kExitUsage);
    if (options.service == "install") {
        if (!environment.InstallService(mistake)) return session.Fail(mistake, kExitFailed);
        session.out << "the service tarnhost is installed; 'sc start tarnhost' starts it now, Windows at each start\n";
        return kExitOk;
    }
    const std::unique_ptr<Judge> library = session.PlainLibrary();
    if (!library) return kExitFailed;

    outputs = std::make_unique<Outputs>(hub, session, settings);
    serve::Life life({environment, *library, follower, hub, settings, file});
    if (!life.Run(mistake)) return session.Fail(mistake, kExitFailed);
    return kExitOk;
}

int Serve(const ServeOptions& options, const Session& session) {
    serve::EventHub hub;
    std::unique_ptr<Outputs> outputs;
    const int code = Filtering(options, session, hub, outputs);
    // The library has ended. Waiting for a reader that does not read would never end.
    if (outputs && !outputs->End()) std::_Exit(code);
    return code;
}

}  // namespace

RunCommand AddServeCommand(CommandOptions command, Session& session) {
    const auto options = std::make_shared<ServeOptions>();
    const auto listener = [&](const char* name, std::optional<std::string>& value, const char* text) {
        command.Add(name, value, text).Value("ADDRESS:PORT");
    };
    listener("--proxy", options->proxy, "The HTTP proxy, or off (default 127.0.0.1:8080)");
    listener("--socks", options->socks, "The SOCKS5 proxy, or off (default 127.0.0.1:1080)");
    listener("--dns", options->dns, "The DNS forwarder, or off (default 127.0.0.1:5353); it needs --dns-upstream");
    listener("--status", options->status, "The status page, or off (default 127.0.0.1:8081)");
    command.Add("--dns-upstream", options->dnsUpstream, "A DNS server that is asked (repeatable)")
        .Value("ADDRESS")
        .Repeatable();
    command.Add("--dns-refused", options->dnsRefused,
                "What a blocked name gets: nxdomain (default), zero or block_page");
    command
        .Add("--block-page-address", options->blockPageAddress,
             "This machine's address, which a blocked name gets with --dns-refused block_page")
        .Value("ADDRESS");
    command.Add("--unknown", options->unknown, "What becomes of what cannot be judged: pass (default) or refuse");
    command.Add("--drain-seconds", options->drainSeconds, "How long connections may go on after Ctrl+C (default 10)")
        .Within(0, 600);
    command
        .Add("--head-seconds", options->headSeconds,
             "Within which the head of a request or a TLS hello has to come (default 15)")
        .Within(1, 600);
    command
        .Add("--silence-seconds", options->silenceSeconds,
             "After which a client that says nothing waits for its server (default 3)")
        .Within(1, 60);
    command
        .Add("--idle-seconds", options->idleSeconds, "After which a connection without traffic is closed (default 300)")
        .Within(1, 86400);
    command.Add("--connections", options->connections, "At most so many at once (default 5000)").Within(1, 100000);
    command.Add("--events", options->events, "Also write the events to this file, as JSON lines").Value("FILE");
    command.Add("--events-megabytes", options->eventsMegabytes, "Size of one such file (default 16)").Within(1, 1024);
    command.Add("--events-files", options->eventsFiles, "How many of them are kept (default 5)").Within(1, 100);
    command.Add("--hosts", options->hosts, "A name that stands for this address (repeatable)")
        .Value("NAME=ADDRESS")
        .Repeatable();
    command
        .Add("--service", options->service,
             "install: as a service of Windows, with these options; remove: no more; run: what Windows calls")
        .OneOf({"install", "remove", "run"});
    command.Notes(
        "Each option stands above its key in the table [serve] of the policy. What the library blocks is never opened: "
        "a request gets a page that says why, a TLS connection is refused by its hello. The policy is followed while "
        "it runs; one with mistakes changes nothing. Ctrl+C ends it when the open connections have, or after "
        "--drain-seconds.");
    return [options, &session] { return Serve(*options, session); };
}

}  // namespace tarn::host
