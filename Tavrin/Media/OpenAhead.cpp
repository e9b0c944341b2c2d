#include "Tavrin/Media/OpenAhead.hpp"

#include <algorithm>
#include <utility>
#include <vector>

#include "Tavrin/Foundation/Mutex.hpp"

namespace tavrin {

/// The ledger's lock guards all of its fields but the first.
struct OpenAheadShare::Entry {
  const std::function<void()> changed;
  std::size_t wanted = 0;
  std::size_t limit = 0;
  std::size_t held = 0;

  bool isWaiting() const { return held < limit; }
};

/// Who holds what. The entries stand in the order in which they have said what they want, the last
/// one first.
struct OpenAheadLedger {
  using Entry = OpenAheadShare::Entry;
  using Entries = std::vector<std::shared_ptr<Entry>>;

  Mutex mutex;
  Entries entries TAVRIN_GUARDED_BY(mutex);
  bool isAllowed TAVRIN_GUARDED_BY(mutex) = true;
  bool isUnderPressure TAVRIN_GUARDED_BY(mutex) = false;

  static OpenAheadLedger& shared() {
    static auto* instance = new OpenAheadLedger;
    return *instance;
  }

  std::size_t held() const TAVRIN_REQUIRES(mutex) {
    std::size_t sum = 0;
    for (const auto& entry : entries) sum += entry->held;
    return sum;
  }

  // Returns those to be told: their limit is another one, or they wait for what others give back.
  Entries distribute() TAVRIN_REQUIRES(mutex) {
    std::vector<std::size_t> before;
    for (const auto& entry : entries) before.push_back(std::exchange(entry->limit, 0));
    std::size_t left = isAllowed && !isUnderPressure ? OpenAhead::limitOfTheProcess : 0;
    for (std::size_t rank = 0; rank < OpenAhead::limitOfAnEngine; ++rank) {
      for (const auto& entry : entries) {
        if (left == 0 || entry->wanted <= rank) continue;
        ++entry->limit;
        --left;
      }
    }
    Entries told;
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (entries[i]->limit != before[i] || entries[i]->isWaiting()) told.push_back(entries[i]);
    }
    return told;
  }

  static void change(const std::function<void(OpenAheadLedger&)>& apply) {
    auto& ledger = shared();
    Entries told;
    {
      const LockGuard lock(ledger.mutex);
      apply(ledger);
      told = ledger.distribute();
    }
    for (const auto& entry : told) entry->changed();
  }
};

void OpenAhead::setAllowed(bool allowed) {
  OpenAheadLedger::change([&](OpenAheadLedger& ledger)
                              TAVRIN_REQUIRES(ledger.mutex) { ledger.isAllowed = allowed; });
}

void OpenAhead::setUnderMemoryPressure(bool isUnderPressure) {
  OpenAheadLedger::change([&](OpenAheadLedger& ledger) TAVRIN_REQUIRES(ledger.mutex) {
    ledger.isUnderPressure = isUnderPressure;
  });
}

OpenAheadShare::OpenAheadShare(std::function<void()> changed)
    : entry_(new Entry{std::move(changed)}) {
  auto& ledger = OpenAheadLedger::shared();
  const LockGuard lock(ledger.mutex);
  ledger.entries.push_back(entry_);
}

OpenAheadShare::~OpenAheadShare() {
  OpenAheadLedger::change([&](OpenAheadLedger& ledger) TAVRIN_REQUIRES(ledger.mutex) {
    std::erase(ledger.entries, entry_);
  });
}

void OpenAheadShare::want(std::size_t count) {
  OpenAheadLedger::change([&](OpenAheadLedger& ledger) TAVRIN_REQUIRES(ledger.mutex) {
    entry_->wanted = count;
    std::erase(ledger.entries, entry_);
    ledger.entries.insert(ledger.entries.begin(), entry_);
  });
}

std::size_t OpenAheadShare::limit() const {
  auto& ledger = OpenAheadLedger::shared();
  const LockGuard lock(ledger.mutex);
  return entry_->limit;
}

bool OpenAheadShare::take() {
  auto& ledger = OpenAheadLedger::shared();
  const LockGuard lock(ledger.mutex);
  if (!entry_->isWaiting() || ledger.held() >= OpenAhead::limitOfTheProcess) return false;
  ++entry_->held;
  return true;
}

void OpenAheadShare::giveBack() {
  OpenAheadLedger::change([&](OpenAheadLedger&) { --entry_->held; });
}

}  // namespace tavrin
