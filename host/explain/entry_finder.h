// Finds the entry of the policy that decided a verdict, from the verdict's reason and the lists of the policy. The
// policy is read when it is asked for the first time, and again after it changed; a look-up costs the same however
// long the lists are, but for patterns and signatures, which the companions walk too. Used by one thread, unless its
// index is there.
#ifndef TARN_HOST_EXPLAIN_ENTRY_FINDER_H
#define TARN_HOST_EXPLAIN_ENTRY_FINDER_H

#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "base/byte_reader.h"
#include "host/account.h"
#include "host/explain/policy_index.h"
#include "host/judge.h"
#include "host/verdict_report.h"

namespace tarn::host {

class EntryFinder {
 public:
    // Null when there is no policy of use: then nothing is ever found.
    using ReadPolicy = std::function<std::shared_ptr<const policy::Policy>()>;
    // account: whose requests are judged.
    EntryFinder(ReadPolicy read, Account account) : read_(std::move(read)), account_(std::move(account)) {}
    EntryFinder(policy::Policy policy, Account account);

    // Where the policy comes from when it is asked for the next time.
    void ReadBy(ReadPolicy read) {
        read_ = std::move(read);
        Forget();
    }
    // Reads it now. Who opens the library afterwards with the same policy need not read it again.
    void Prepare() { Index(); }
    // Another state of the policy counts from now on.
    void Forget() {
        index_.reset();
        isRead_ = false;
    }

    std::optional<DecidingEntry> Find(const JudgedRequest& request);
    // frame: as it was scanned.
    std::optional<DecidingEntry> Find(const PacketAttack& attack, base::Bytes frame);
    // Of an address that an extension reported.
    std::optional<DecidingEntry> FindReported(std::string_view url, const Judgement& judgement);
    // The lists that are asked; null when there is no policy of use. Once it was called any thread may find entries.
    const PolicyIndex* Index();

 private:
    ReadPolicy read_;
    Account account_;
    std::unique_ptr<const PolicyIndex> index_;
    bool isRead_ = false;
};

// By the policy that the options choose, for the account that this process runs as. progress, where it is given, is
// told of the reading of a long policy and outlives the finder.
EntryFinder FinderFor(Environment& environment, const LibraryOptions& options, std::ostream* progress = nullptr);

}  // namespace tarn::host

#endif
