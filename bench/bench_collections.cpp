// The hash tables against std::unordered_map with the same keys.
//
// Str*: TStringHashTable (case-sensitive, load factor 1.0) against
//   std::unordered_map<std::u16string, std::u16string> (its default maximum
//   load factor is 1.0 too). 1,000,000 distinct keys of 24 identifier
//   characters; values are short decimal strings (kept inline by both).
//   The table's case-sensitive hash reads the first L bytes of a key of L
//   two-byte characters, i.e. its first half: 12 characters of these keys,
//   which spreads them about as well as a random hash. StrShortKeyHit shows
//   what the same hash does to 12-character keys, of which it sees 6: many
//   keys share a hash and chains get long.
// Int*: TIntegerObjHashTable without ownership (integer keys, raw object
//   pointer values, no reference counting) against
//   std::unordered_map<int32_t, TObject*>. 1,000,000 distinct random keys;
//   both hash an integer to itself.
// Neither side is pre-sized: both grow from empty. Lookups use keys in an
// order unrelated to insertion.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "foundation/CollectionsTables.h"

using namespace ide;

namespace {

constexpr int kCount = 1000000;
constexpr int kIterations = 3;

String RandomIdentifier(std::mt19937& Rng, int Length) {
    static const char kAlpha[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";
    String s(static_cast<size_t>(Length), u'\0');
    for (auto& c : s) c = static_cast<Char>(kAlpha[Rng() % (sizeof kAlpha - 1)]);
    return s;
}

struct StrData {
    std::vector<String> Keys, Values, Misses, Shuffled;
    explicit StrData(int Length) {
        std::mt19937 rng(20261122u + static_cast<unsigned>(Length));
        std::unordered_set<String> seen;
        while (static_cast<int>(Keys.size()) < kCount) {
            String k = RandomIdentifier(rng, Length);
            if (seen.insert(k).second) Keys.push_back(std::move(k));
        }
        while (static_cast<int>(Misses.size()) < kCount) {
            String k = RandomIdentifier(rng, Length);
            if (!seen.count(k)) Misses.push_back(std::move(k));
        }
        for (int i = 0; i < kCount; ++i) Values.push_back(Str(std::to_string(i)));
        Shuffled = Keys;
        std::shuffle(Shuffled.begin(), Shuffled.end(), rng);
    }
};

const StrData& Strs() {
    static StrData d(24);
    return d;
}
const StrData& ShortStrs() {
    static StrData d(12);
    return d;
}

struct IntData {
    std::vector<int32_t> Keys, Misses, Shuffled;
    std::vector<TObject> Objects;
    IntData() : Objects(kCount) {
        std::mt19937 rng(4711);
        std::unordered_set<int32_t> seen;
        while (static_cast<int>(Keys.size()) < kCount) {
            const auto k = static_cast<int32_t>(rng());
            if (seen.insert(k).second) Keys.push_back(k);
        }
        while (static_cast<int>(Misses.size()) < kCount) {
            const auto k = static_cast<int32_t>(rng());
            if (!seen.count(k)) Misses.push_back(k);
        }
        Shuffled = Keys;
        std::shuffle(Shuffled.begin(), Shuffled.end(), rng);
    }
};

IntData& Ints() {
    static IntData d;
    return d;
}

using StdStrMap = std::unordered_map<String, String>;
using StdIntMap = std::unordered_map<int32_t, TObject*>;

// ---- filling

void Fill(TStringHashTable& T, const StrData& D) {
    for (int i = 0; i < kCount; ++i) T.Add(D.Keys[i], D.Values[i]);
}
void Fill(StdStrMap& M, const StrData& D) {
    for (int i = 0; i < kCount; ++i) M.insert_or_assign(D.Keys[i], D.Values[i]);
}
void Fill(TIntegerObjHashTable& T, IntData& D) {
    for (int i = 0; i < kCount; ++i) T.Add(D.Keys[i], &D.Objects[i]);
}
void Fill(StdIntMap& M, IntData& D) {
    for (int i = 0; i < kCount; ++i) M.insert_or_assign(D.Keys[i], &D.Objects[i]);
}

std::unique_ptr<TStringHashTable> NewIdeStr() { return std::make_unique<TStringHashTable>(true, 0, 1.0); }
std::unique_ptr<TIntegerObjHashTable> NewIdeInt() { return std::make_unique<TIntegerObjHashTable>(okNone, 0, 1.0); }

template <class T, class D>
T& Filled(std::unique_ptr<T> (*Make)(), D& Data) {
    static std::unique_ptr<T> t = [&] {
        auto p = Make();
        Fill(*p, Data);
        return p;
    }();
    return *t;
}
std::unique_ptr<StdStrMap> NewStdStr() { return std::make_unique<StdStrMap>(); }
std::unique_ptr<StdIntMap> NewStdInt() { return std::make_unique<StdIntMap>(); }

// ---- the string table

template <class T>
void StrInsert(benchmark::State& State, std::unique_ptr<T> (*Make)()) {
    const StrData& d = Strs();
    for (auto _ : State) {
        State.PauseTiming();
        auto t = Make();
        State.ResumeTiming();
        Fill(*t, d);
        State.PauseTiming();
        t.reset();
        State.ResumeTiming();
    }
    State.SetItemsProcessed(State.iterations() * kCount);
}

size_t LookupAll(TStringHashTable& T, const std::vector<String>& Keys) {
    size_t n = 0;
    for (const String& k : Keys) {
        String v = T.GetItem(k);
        n += v.size();
    }
    return n;
}
size_t LookupAll(StdStrMap& M, const std::vector<String>& Keys) {
    size_t n = 0;
    for (const String& k : Keys) {
        auto it = M.find(k);
        String v = it != M.end() ? it->second : String();
        n += v.size();
    }
    return n;
}

template <class T>
void StrFindHit(benchmark::State& State, std::unique_ptr<T> (*Make)()) {
    T& t = Filled(Make, Strs());
    for (auto _ : State) benchmark::DoNotOptimize(LookupAll(t, Strs().Shuffled));
    State.SetItemsProcessed(State.iterations() * kCount);
}

template <class T>
void StrFindMiss(benchmark::State& State, std::unique_ptr<T> (*Make)()) {
    T& t = Filled(Make, Strs());
    for (auto _ : State) benchmark::DoNotOptimize(LookupAll(t, Strs().Misses));
    State.SetItemsProcessed(State.iterations() * kCount);
}

template <class T>
void StrShortKeyHit(benchmark::State& State, std::unique_ptr<T> (*Make)()) {
    static std::unique_ptr<T> t = [&] {
        auto p = Make();
        Fill(*p, ShortStrs());
        return p;
    }();
    for (auto _ : State) benchmark::DoNotOptimize(LookupAll(*t, ShortStrs().Shuffled));
    State.SetItemsProcessed(State.iterations() * kCount);
}

void RemoveAll(TStringHashTable& T, const std::vector<String>& Keys) {
    for (const String& k : Keys) T.Remove(k);
}
void RemoveAll(StdStrMap& M, const std::vector<String>& Keys) {
    for (const String& k : Keys) M.erase(k);
}

template <class T>
void StrRemove(benchmark::State& State, std::unique_ptr<T> (*Make)()) {
    const StrData& d = Strs();
    for (auto _ : State) {
        State.PauseTiming();
        auto t = Make();
        Fill(*t, d);
        State.ResumeTiming();
        RemoveAll(*t, d.Shuffled);
        State.PauseTiming();
        t.reset();
        State.ResumeTiming();
    }
    State.SetItemsProcessed(State.iterations() * kCount);
}

size_t IterateAll(TStringHashTable& T) {
    size_t n = 0;
    for (auto pair : T) n += pair.Key.size() + pair.Value.size();
    return n;
}
size_t IterateAll(StdStrMap& M) {
    size_t n = 0;
    for (auto& [k, v] : M) n += k.size() + v.size();
    return n;
}

template <class T>
void StrIterate(benchmark::State& State, std::unique_ptr<T> (*Make)()) {
    T& t = Filled(Make, Strs());
    for (auto _ : State) benchmark::DoNotOptimize(IterateAll(t));
    State.SetItemsProcessed(State.iterations() * kCount);
}

// ---- the integer table

template <class T>
void IntInsert(benchmark::State& State, std::unique_ptr<T> (*Make)()) {
    IntData& d = Ints();
    for (auto _ : State) {
        State.PauseTiming();
        auto t = Make();
        State.ResumeTiming();
        Fill(*t, d);
        State.PauseTiming();
        t.reset();
        State.ResumeTiming();
    }
    State.SetItemsProcessed(State.iterations() * kCount);
}

uintptr_t LookupAll(TIntegerObjHashTable& T, const std::vector<int32_t>& Keys) {
    uintptr_t n = 0;
    for (int32_t k : Keys) n += reinterpret_cast<uintptr_t>(T.GetItem(k));
    return n;
}
uintptr_t LookupAll(StdIntMap& M, const std::vector<int32_t>& Keys) {
    uintptr_t n = 0;
    for (int32_t k : Keys) {
        auto it = M.find(k);
        n += reinterpret_cast<uintptr_t>(it != M.end() ? it->second : nullptr);
    }
    return n;
}

template <class T>
void IntFindHit(benchmark::State& State, std::unique_ptr<T> (*Make)()) {
    T& t = Filled(Make, Ints());
    for (auto _ : State) benchmark::DoNotOptimize(LookupAll(t, Ints().Shuffled));
    State.SetItemsProcessed(State.iterations() * kCount);
}

template <class T>
void IntFindMiss(benchmark::State& State, std::unique_ptr<T> (*Make)()) {
    T& t = Filled(Make, Ints());
    for (auto _ : State) benchmark::DoNotOptimize(LookupAll(t, Ints().Misses));
    State.SetItemsProcessed(State.iterations() * kCount);
}

void RemoveAll(TIntegerObjHashTable& T, const std::vector<int32_t>& Keys) {
    for (int32_t k : Keys) T.Remove(k);
}
void RemoveAll(StdIntMap& M, const std::vector<int32_t>& Keys) {
    for (int32_t k : Keys) M.erase(k);
}

template <class T>
void IntRemove(benchmark::State& State, std::unique_ptr<T> (*Make)()) {
    IntData& d = Ints();
    for (auto _ : State) {
        State.PauseTiming();
        auto t = Make();
        Fill(*t, d);
        State.ResumeTiming();
        RemoveAll(*t, d.Shuffled);
        State.PauseTiming();
        t.reset();
        State.ResumeTiming();
    }
    State.SetItemsProcessed(State.iterations() * kCount);
}

uintptr_t IterateAll(TIntegerObjHashTable& T) {
    uintptr_t n = 0;
    for (auto pair : T) n += static_cast<uint32_t>(pair.Key) + reinterpret_cast<uintptr_t>(pair.Value);
    return n;
}
uintptr_t IterateAll(StdIntMap& M) {
    uintptr_t n = 0;
    for (auto& [k, v] : M) n += static_cast<uint32_t>(k) + reinterpret_cast<uintptr_t>(v);
    return n;
}

template <class T>
void IntIterate(benchmark::State& State, std::unique_ptr<T> (*Make)()) {
    T& t = Filled(Make, Ints());
    for (auto _ : State) benchmark::DoNotOptimize(IterateAll(t));
    State.SetItemsProcessed(State.iterations() * kCount);
}

}  // namespace

namespace {
const bool kRegistered = [] {
    auto reg = [](const char* Name, auto Fn) {
        benchmark::RegisterBenchmark(Name, Fn)->Iterations(kIterations)->Unit(benchmark::kMillisecond);
    };
    reg("StrInsert/ideStringHashTable", [](benchmark::State& s) { StrInsert(s, &NewIdeStr); });
    reg("StrInsert/std_unordered_map", [](benchmark::State& s) { StrInsert(s, &NewStdStr); });
    reg("StrFindHit/ideStringHashTable", [](benchmark::State& s) { StrFindHit(s, &NewIdeStr); });
    reg("StrFindHit/std_unordered_map", [](benchmark::State& s) { StrFindHit(s, &NewStdStr); });
    reg("StrFindMiss/ideStringHashTable", [](benchmark::State& s) { StrFindMiss(s, &NewIdeStr); });
    reg("StrFindMiss/std_unordered_map", [](benchmark::State& s) { StrFindMiss(s, &NewStdStr); });
    reg("StrRemove/ideStringHashTable", [](benchmark::State& s) { StrRemove(s, &NewIdeStr); });
    reg("StrRemove/std_unordered_map", [](benchmark::State& s) { StrRemove(s, &NewStdStr); });
    reg("StrIterate/ideStringHashTable", [](benchmark::State& s) { StrIterate(s, &NewIdeStr); });
    reg("StrIterate/std_unordered_map", [](benchmark::State& s) { StrIterate(s, &NewStdStr); });
    reg("StrShortKeyHit/ideStringHashTable", [](benchmark::State& s) { StrShortKeyHit(s, &NewIdeStr); });
    reg("StrShortKeyHit/std_unordered_map", [](benchmark::State& s) { StrShortKeyHit(s, &NewStdStr); });
    reg("IntInsert/ideIntegerObjHashTable", [](benchmark::State& s) { IntInsert(s, &NewIdeInt); });
    reg("IntInsert/std_unordered_map", [](benchmark::State& s) { IntInsert(s, &NewStdInt); });
    reg("IntFindHit/ideIntegerObjHashTable", [](benchmark::State& s) { IntFindHit(s, &NewIdeInt); });
    reg("IntFindHit/std_unordered_map", [](benchmark::State& s) { IntFindHit(s, &NewStdInt); });
    reg("IntFindMiss/ideIntegerObjHashTable", [](benchmark::State& s) { IntFindMiss(s, &NewIdeInt); });
    reg("IntFindMiss/std_unordered_map", [](benchmark::State& s) { IntFindMiss(s, &NewStdInt); });
    reg("IntRemove/ideIntegerObjHashTable", [](benchmark::State& s) { IntRemove(s, &NewIdeInt); });
    reg("IntRemove/std_unordered_map", [](benchmark::State& s) { IntRemove(s, &NewStdInt); });
    reg("IntIterate/ideIntegerObjHashTable", [](benchmark::State& s) { IntIterate(s, &NewIdeInt); });
    reg("IntIterate/std_unordered_map", [](benchmark::State& s) { IntIterate(s, &NewStdInt); });
    return true;
}();
}  // namespace
