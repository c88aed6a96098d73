// Code that is kept for the texts and files that come again: zrKeptCode, and the look-up. Private
// here: the store and what gives way in it. Test: tests/eval/KeptCode_test.cpp.
#include <zrpythoninterp/core/Runtime.h>

#include <zrpythoninterp/core/RuntimeLife.h>
#include <zrpythoninterp/core/StoreMutex.h>
#include <zrpythoninterp/eval/CodeSize.h>
#include <zrpythoninterp/eval/HashPlaces.h>
#include <zrpythoninterp/eval/KeptCode.h>
#include <zrpythoninterp/eval/NearCode.h>
#include <zrpythoninterp/eval/SeenTexts.h>
#include <zrpythoninterp/eval/zrKeptCode.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace zrpy {

namespace {

std::atomic<std::size_t> budget{zrKeptCode::kDefaultBudget};
std::atomic<std::size_t> held{0};
// Look-ups so far; differences stay right when it overflows. Written under the store's mutex.
std::atomic<std::uint32_t> lookUps{0};

// One code object may take this part of the budget.
constexpr std::size_t kParts = 16;
// How many are asked to make room before a newcomer is sent away.
constexpr int kAsked = 2;
constexpr std::uint32_t kNeverSeen = std::numeric_limits<std::uint32_t>::max();

bool IsText(const CodeSource& source) { return source.kind <= CodeSource::Kind::kNoExpression; }

// Of a file, its path: what was kept of an earlier content is found, and gives way.
std::size_t HashOf(const CodeSource& source) {
  const std::size_t hash =
      std::hash<std::string_view>()(IsText(source) ? source.content : source.path);
  return hash + static_cast<std::size_t>(source.kind);
}

// Path and content of a source in one block.
class SourceCopy {
 public:
  explicit SourceCopy(const CodeSource& source)
      : kind_(source.kind),
        pathSize_(static_cast<std::uint32_t>(source.path.size())),
        contentSize_(static_cast<std::uint32_t>(source.content.size())),
        text_(new char[size()]) {
    source.path.copy(text_.get(), pathSize_);
    source.content.copy(text_.get() + pathSize_, contentSize_);
  }

  std::size_t size() const { return std::size_t{pathSize_} + contentSize_; }
  CodeSource source() const {
    return {kind_, {text_.get(), pathSize_}, {text_.get() + pathSize_, contentSize_}};
  }
  bool Is(const CodeSource& source) const {
    return kind_ == source.kind && contentSize_ == source.content.size() &&
           pathSize_ == source.path.size() && Equal(text_.get() + pathSize_, source.content) &&
           Equal(text_.get(), source.path);
  }

 private:
  // Without a call for nothing: comparing no bytes at all at a null pointer costs a fault inside
  // the processor.
  static bool Equal(const char* ours, std::string_view theirs) {
    return theirs.empty() || std::memcmp(ours, theirs.data(), theirs.size()) == 0;
  }

  CodeSource::Kind kind_;
  std::uint32_t pathSize_;
  std::uint32_t contentSize_;
  std::unique_ptr<char[]> text_;
};

struct Kept {
  std::size_t hash;
  PyRef code;
  std::uint32_t lastUse;
  std::uint32_t bytes;
  SourceCopy source;
};

// In the order in which they came but for gaps, which the last one fills: the hand goes round, and
// whom it stops at is asked to make room.
class Store {
 public:
  Sighting LookUp(const CodeSource& source, std::size_t hash) {
    now_ = lookUps.load(std::memory_order_relaxed) + 1;
    lookUps.store(now_, std::memory_order_relaxed);
    const std::uint32_t found = places_.Find(hash);
    if (found != HashPlaces::kNone) {
      Kept& kept = kept_[found];
      if (kept.source.Is(source)) {
        kept.lastUse = now_;
        NearCode::Put(kept.source.source(), hash, kept.code.get(), now_);
        return {PyRef::Borrow(kept.code.get()), true};
      }
      return {PyRef(), true, now_ - kept.lastUse};
    }
    std::uint32_t before = 0;
    // A file that was never seen takes only what room is left.
    if (!seen_.Note(hash, now_, before)) return {PyRef(), !IsText(source), kNeverSeen};
    const std::uint32_t absence = now_ - before;
    // Where there will be no room, it is not even measured.
    return {PyRef(), HasRoom() || FindIdle(absence), absence};
  }

  // What gives way is moved to old, to be dropped without the store's lock.
  void Enter(Kept&& kept, std::uint32_t absence, std::vector<Kept>& old) {
    const std::uint32_t found = places_.Find(kept.hash);
    if (found != HashPlaces::kNone) old.push_back(TakeOut(found));
    const std::size_t most = budget;
    if (kept.bytes > most / kParts) return;
    while (held + kept.bytes > most) {
      if (kept_.empty() || !FindIdle(absence)) return;
      old.push_back(TakeOut(hand_));
    }
    kept.lastUse = now_;
    kept_.push_back(std::move(kept));
    held += kept_.back().bytes;
    // Last: without memory for it, what was kept is not found, and gives way one day.
    places_.Add(kept_.back().hash, static_cast<std::uint32_t>(kept_.size() - 1));
  }

  // For a budget that became smaller.
  void Shrink(std::vector<Kept>& old) {
    while (held > budget && !kept_.empty()) old.push_back(TakeOut(NextHand()));
  }

  std::vector<Kept> TakeAll() {
    held = 0;
    places_.Clear();
    NearCode::TakeAllAway();
    return std::exchange(kept_, {});
  }

 private:
  bool HasRoom() const { return held < budget - budget / kParts; }

  std::uint32_t NextHand() { return hand_ = hand_ + 1 < kept_.size() ? hand_ + 1 : 0; }

  // Leaves the hand at one that was not used for longer than this.
  bool FindIdle(std::uint32_t absence) {
    for (int i = 0; i < kAsked && !kept_.empty(); ++i) {
      if (now_ - kept_[NextHand()].lastUse > absence) return true;
    }
    return false;
  }

  Kept TakeOut(std::uint32_t place) {
    const auto last = static_cast<std::uint32_t>(kept_.size() - 1);
    NearCode::TakeAway(kept_[place].hash);
    places_.Remove(kept_[place].hash, place);
    places_.Move(kept_[last].hash, last, place);
    std::swap(kept_[place], kept_[last]);
    Kept out = std::move(kept_.back());
    kept_.pop_back();
    held -= out.bytes;
    return out;
  }

  std::uint32_t now_ = 0;
  std::vector<Kept> kept_;
  HashPlaces places_;
  std::uint32_t hand_ = 0;
  SeenTexts seen_;
};

StoreMutex mutex;
// Never destroyed: at the end of a process that did not stop the runtime, its objects are not ours
// to drop.
Store& store ZR_GUARDED_BY(mutex) = *new Store;
std::uint64_t keptLife ZR_GUARDED_BY(mutex) = 0;

void DropAtStop() {
  std::vector<Kept> old;
  const StoreLock lock(mutex);
  keptLife = 0;
  old = store.TakeAll();
}

}  // namespace

Sighting LookUpCode(const CodeSource& source) {
  const std::uint64_t life = RuntimeLife::Current();
  if (life == 0) return {PyRef(), false};  // during a stop nothing new is kept
  const std::size_t hash = HashOf(source);
  if (held <= budget) {
    PyRef near = NearCode::Find(source, hash, lookUps.load(std::memory_order_relaxed));
    if (near) return {std::move(near), true};
  }
  std::vector<Kept> old;
  const StoreLock lock(mutex);
  if (keptLife != life) RuntimeLife::CallAtStop(&DropAtStop);
  keptLife = life;
  if (held > budget) store.Shrink(old);
  return store.LookUp(source, hash);
}

void KeepCode(const CodeSource& source, const Sighting& sighting, PyObject* code) {
  if (source.content.size() > budget / kParts) return;
  constexpr std::size_t kPlace = sizeof(Kept) + 4 * sizeof(void*);  // with its place in the map
  SourceCopy copy(source);
  const std::size_t bytes = kPlace + copy.size() + CodeSize(reinterpret_cast<PyCodeObject*>(code));
  if (bytes > std::numeric_limits<std::uint32_t>::max()) return;
  Kept kept{HashOf(source), PyRef::Borrow(code), 0, static_cast<std::uint32_t>(bytes),
            std::move(copy)};
  std::vector<Kept> old;
  const StoreLock lock(mutex);
  if (keptLife != 0) store.Enter(std::move(kept), sighting.absence, old);
}

}  // namespace zrpy

void zrKeptCode::SetBudget(std::size_t bytes) { zrpy::budget = bytes; }

std::size_t zrKeptCode::Budget() { return zrpy::budget; }

std::size_t zrKeptCode::Held() { return zrpy::held; }
