// The settings stores against QSettings (IniFormat) on the same data.
//
// IniCycle/5000: an ini file of 5,000 keys (integers and texts in 50
//   sections): load it, read every key, write every key (a new value each
//   round), save it. Ours through TIniPropSet with one field per key (the
//   read is GetValue, the write SetValue: conversion, comparison, cache,
//   events); the peer through QSettings::value/setValue/sync.
// SingleRead: one integer read from a loaded store: a field's GetValue
//   (one cache look-up plus conversion) against QSettings::value.
// Hive/50000: a registry hive file of 50,000 values in 500 keys: load it,
//   change one value, write it back (the shared hive's Flush: lock, merge,
//   atomic replace); the peer loads the same values from an ini file,
//   changes one and syncs.
#include <benchmark/benchmark.h>

#include <QSettings>
#include <QString>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "foundation/Conversions.h"
#include "settings/IDERegIniPropSet.h"

using namespace ide;

namespace {

constexpr int kIniKeys = 5000;
constexpr int kSections = 50;
constexpr int kHiveValues = 50000;
constexpr int kHiveKeys = 500;

const std::string& Dir() {
    static const std::string dir = [] {
        char tmpl[] = "/tmp/ide-bench-settings-XXXXXX";
        std::string d = ::mkdtemp(tmpl);
        ::setenv("IDE_REGISTRY_DIR", d.c_str(), 1);
        return d;
    }();
    return dir;
}

std::string SectionOf(int i) { return "Section" + std::to_string(i % kSections); }
std::string KeyOf(int i) { return "Key" + std::to_string(i); }

// The same 5,000 keys in each store's own layout: QSettings reads
// "[Section17]" with the key "Section17/Key2017"; a TIniPropSet with root
// "Bench" reads field "Section17\Key2017" from "[Bench\Section17\]" (the
// section of a field is the root, the field's path and a backslash).
std::string IniText(bool ours) {
    std::string t;
    for (int s = 0; s < kSections; ++s) {
        t += ours ? "[Bench\\Section" + std::to_string(s) + "\\]\n" : "[Section" + std::to_string(s) + "]\n";
        for (int i = s; i < kIniKeys; i += kSections)
            t += KeyOf(i) + "=" + (i % 2 ? std::to_string(i) : "text value " + std::to_string(i)) + "\n";
    }
    return t;
}

const std::string& IniFile(bool ours) {
    static const std::string paths[2] = {Dir() + "/peer-master.ini", Dir() + "/ours-master.ini"};
    static const bool written = [] {
        for (bool o : {false, true}) std::ofstream(paths[o], std::ios::binary) << IniText(o);
        return true;
    }();
    (void)written;
    return paths[ours];
}

void IniCycleOurs(benchmark::State& state) {
    const std::string master = IniFile(true);
    TIniPropSet set(nullptr);
    set.SetRootName(u"Bench");
    set.SetFileName(Str(Dir() + "/ours.ini"));
    std::vector<TPropField*> fields;
    for (int i = 0; i < kIniKeys; ++i) {
        TPropField* f = i % 2 ? static_cast<TPropField*>(new TIntegerPropField(&set))
                              : static_cast<TPropField*>(new TStringPropField(&set));
        f->SetFieldName(Str(SectionOf(i) + "\\" + KeyOf(i)));
        f->SetPropSet(&set);
        fields.push_back(f);
    }
    std::ifstream in(master, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::ofstream(Dir() + "/ours.ini", std::ios::binary) << bytes;
    set.LoadPropValues();
    if (fields[1]->GetValue().AsInteger() != 1 || fields[2]->GetValue().AsString() != u"text value 2")
        state.SkipWithError("the fields don't read the file's values");
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::ofstream(Dir() + "/ours.ini", std::ios::binary) << bytes;
        state.ResumeTiming();
        set.LoadPropValues();
        int64_t sum = 0;
        for (TPropField* f : fields) sum += static_cast<int64_t>(f->GetValue().AsString().size());
        benchmark::DoNotOptimize(sum);
        ++round;
        for (int i = 0; i < kIniKeys; ++i)
            fields[static_cast<size_t>(i)]->SetValue(i % 2 ? Variant(i + round) : Variant(u"new text " + IntToStr(round)));
        set.SavePropValues();
    }
}

// QSettings wants "Section/Key"; the sections here have no backslash, which
// QSettings couldn't keep.
void IniCyclePeer(benchmark::State& state) {
    const std::string master = IniFile(false);
    std::ifstream in(master, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<QString> keys;
    for (int i = 0; i < kIniKeys; ++i) keys.push_back(QString::fromStdString(SectionOf(i) + "/" + KeyOf(i)));
    int round = 0;
    const QString path = QString::fromStdString(Dir() + "/peer.ini");
    for (auto _ : state) {
        state.PauseTiming();
        std::ofstream(Dir() + "/peer.ini", std::ios::binary) << bytes;
        state.ResumeTiming();
        QSettings s(path, QSettings::IniFormat);
        int64_t sum = 0;
        for (const QString& k : keys) sum += s.value(k).toString().size();
        benchmark::DoNotOptimize(sum);
        ++round;
        for (int i = 0; i < kIniKeys; ++i)
            s.setValue(keys[static_cast<size_t>(i)],
                       i % 2 ? QVariant(i + round) : QVariant(QStringLiteral("new text %1").arg(round)));
        s.sync();
    }
}

void SingleReadOurs(benchmark::State& state) {
    TIniPropSet set(nullptr);
    set.SetRootName(u"Bench");
    set.SetFileName(Str(IniFile(true)));
    auto* f = new TIntegerPropField(&set);
    f->SetFieldName(u"Section17\\Key2017");
    f->SetPropSet(&set);
    set.LoadPropValues();
    if (f->GetValue().AsInteger() != 2017) state.SkipWithError("the field doesn't read the file's value");
    for (auto _ : state) benchmark::DoNotOptimize(f->GetValue().AsInteger());
}

void SingleReadPeer(benchmark::State& state) {
    QSettings s(QString::fromStdString(IniFile(false)), QSettings::IniFormat);
    const QString key = QStringLiteral("Section17/Key2017");
    if (s.value(key).toInt() != 2017) state.SkipWithError("QSettings doesn't read the file's value");
    for (auto _ : state) benchmark::DoNotOptimize(s.value(key).toInt());
}

const std::string& HiveText() {
    static const std::string text = [] {
        std::string t = "ide-registry-hive 1\n";
        for (int k = 0; k < kHiveKeys; ++k) {
            t += "\n[Software\\Bench\\Key" + std::to_string(k) + "]\n";
            for (int v = k; v < kHiveValues; v += kHiveKeys) {
                char buf[96];
                std::snprintf(buf, sizeof buf, "\"Value%d\"=%s%08x\n", v, "dword:", v);
                t += v % 3 ? buf : "\"Value" + std::to_string(v) + "\"=\"text " + std::to_string(v) + "\"\n";
            }
        }
        return t;
    }();
    return text;
}

void HiveOurs(benchmark::State& state) {
    const std::string file = Dir() + "/HKEY_CURRENT_USER.reg";
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        THive::ResetAll();
        std::ofstream(file, std::ios::binary) << HiveText();
        state.ResumeTiming();
        TRegistry r;
        r.OpenKey(u"\\Software\\Bench\\Key7", false);
        r.WriteInteger(u"Value7", ++round);
        r.CloseKey();
    }
}

void HivePeer(benchmark::State& state) {
    std::string ini;
    for (int k = 0; k < kHiveKeys; ++k) {
        ini += "[Key" + std::to_string(k) + "]\n";
        for (int v = k; v < kHiveValues; v += kHiveKeys)
            ini += "Value" + std::to_string(v) + "=" + (v % 3 ? std::to_string(v) : "text " + std::to_string(v)) + "\n";
    }
    const std::string file = Dir() + "/hive-peer.ini";
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::ofstream(file, std::ios::binary) << ini;
        state.ResumeTiming();
        QSettings s(QString::fromStdString(file), QSettings::IniFormat);
        s.setValue(QStringLiteral("Key7/Value7"), ++round);
        s.sync();
    }
}

}  // namespace

BENCHMARK(IniCycleOurs)->Name("IniCycle/ideTIniPropSet/5000")->Unit(benchmark::kMillisecond);
BENCHMARK(IniCyclePeer)->Name("IniCycle/QSettings/5000")->Unit(benchmark::kMillisecond);
BENCHMARK(SingleReadOurs)->Name("SingleRead/ideTIniPropSet");
BENCHMARK(SingleReadPeer)->Name("SingleRead/QSettings");
BENCHMARK(HiveOurs)->Name("Hive/ideTRegistry/50000")->Unit(benchmark::kMillisecond);
BENCHMARK(HivePeer)->Name("Hive/QSettings/50000")->Unit(benchmark::kMillisecond);
