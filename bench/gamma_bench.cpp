// Timings of gamma blanking over simulated displays: one blank pass and one restore pass over 1,
// 4 and 16 displays, the document's write and read with 16 displays, and the blanking worker's
// answer to a blank request. Each run gets a machine of its own in a temporary root.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "blanking/gamma/windows_gamma_blanker.h"
#include "blanking/windows_screen_blanker.h"
#include "platform/displays.h"
#include "platform/sim/core/test_api.h"
#include "logging/logger.h"
#include "platform/sim/displays/display_state.h"
#include "platform/sim/core/machine.h"

namespace {

// Discards everything: the figures are for the work, not the log.
class SilentLogger : public velmo::logging::LoggerBase {
 public:
  SilentLogger() : LoggerBase(velmo::logging::ERROR) {}
  void log(const std::string&, velmo::logging::LogLevel, const long&) override {}
  void log(const std::string&, velmo::logging::LogLevel, std::int32_t) override {}
  std::unique_ptr<LoggerBase> createSessionLogger(const std::string&) override {
    return std::make_unique<SilentLogger>();
  }
  std::unique_ptr<LoggerBase> createCategoryLogger(std::uint32_t) override {
    return std::make_unique<SilentLogger>();
  }
};

// A temporary machine with `count` displays whose initial gammas are saved from a document, so
// that no stability test runs (it sleeps for real outside the tests).
class Machine {
 public:
  explicit Machine(std::size_t count) {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "kestrine-bench-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) {
      throw std::runtime_error("cannot make a temporary sim root");
    }
    root = pattern;
    ::setenv("KESTRINE_SIM_ROOT", root.c_str(), 1);
    sim::replaceDisplays(sim::defaultDisplays(count));
    const WindowsGammaBlanker probe(std::make_unique<SilentLogger>(), Json::Value(), true);
    document = probe.toJson();
    for (Json::Value& element : document) {
      element["initialGammasSaved"] = true;
    }
  }
  ~Machine() {
    std::error_code ec;
    std::filesystem::remove_all(root, ec);
  }
  std::unique_ptr<WindowsGammaBlanker> blanker() const {
    return std::make_unique<WindowsGammaBlanker>(std::make_unique<SilentLogger>(), document, true);
  }

  Json::Value document;

 private:
  std::filesystem::path root;
};

using Pass = bool (WindowsGammaBlanker::*)();

// Times `measured`; `prepare` runs untimed before each so that every timed pass finds the
// displays in the other state and really changes them.
template <Pass prepare, Pass measured>
void BM_Pass(benchmark::State& state) {
  Machine machine(static_cast<std::size_t>(state.range(0)));
  const auto blanker = machine.blanker();
  for (auto _ : state) {
    state.PauseTiming();
    ((*blanker).*prepare)();
    state.ResumeTiming();
    benchmark::DoNotOptimize(((*blanker).*measured)());
  }
}
BENCHMARK_TEMPLATE(BM_Pass, &WindowsGammaBlanker::restore, &WindowsGammaBlanker::blank)
    ->Name("BM_BlankPass")->Arg(1)->Arg(4)->Arg(16)->Unit(benchmark::kMillisecond);
BENCHMARK_TEMPLATE(BM_Pass, &WindowsGammaBlanker::blank, &WindowsGammaBlanker::restore)
    ->Name("BM_RestorePass")->Arg(1)->Arg(4)->Arg(16)->Unit(benchmark::kMillisecond);

// A restore as the restore action does it: the blanker made from the document, then one pass.
void BM_RestoreFromDocument(benchmark::State& state) {
  Machine machine(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    machine.blanker()->blank();
    state.ResumeTiming();
    benchmark::DoNotOptimize(machine.blanker()->restore());
  }
}
BENCHMARK(BM_RestoreFromDocument)->Arg(4)->Unit(benchmark::kMillisecond);

void BM_ToJson(benchmark::State& state) {
  Machine machine(16);
  const auto blanker = machine.blanker();
  for (auto _ : state) {
    benchmark::DoNotOptimize(blanker->toJson());
  }
}
BENCHMARK(BM_ToJson)->Unit(benchmark::kMicrosecond);

void BM_FromJson(benchmark::State& state) {
  Machine machine(16);
  const auto blanker = machine.blanker();
  for (auto _ : state) {
    blanker->fromJson(machine.document);
  }
}
BENCHMARK(BM_FromJson)->Unit(benchmark::kMicrosecond);

// The blanking worker's timings. A blank request whose passes succeed (0), whose every pass
// fails (1: it gives up at the request's limit of 1 s), or that succeeds and whose blank then
// fails on a later pass (2: the time until the blank ends). Counters: `passes` made up to that
// point, and `passes_after` in the following 300 ms: a blank in force is applied again about
// every 100 ms, a request that was given up and a blank that ended make none.
void BM_BlankRequest(benchmark::State& state) {
  using namespace std::chrono_literals;
  const int variant = static_cast<int>(state.range(0));
  const Machine machine(2);
  std::atomic<int> sets{0};
  std::atomic<bool> failing{false};
  const sim::test::ScopedHook hook{&platform::SetDeviceGammaRamp, [&](HDC, LPVOID) -> std::optional<BOOL> {
                                     sets.fetch_add(1);
                                     sim::setLastError(31);
                                     return failing.load() ? std::optional<BOOL>(FALSE) : std::nullopt;
                                   }};
  for (auto _ : state) {
    state.PauseTiming();
    failing = variant == 1;
    WindowsScreenBlanker blanker(std::make_unique<SilentLogger>(), "");
    sets = 0;
    state.ResumeTiming();
    blanker.requestScreenBlanking(IOSScreenBlanker::GammaBlanking);
    if (variant == 2) {
      failing = true;
      while (blanker.getCurrentMethods() != IOSScreenBlanker::NoBlanking) {
        std::this_thread::sleep_for(1ms);
      }
    }
    state.PauseTiming();
    const int made = sets.load();
    std::this_thread::sleep_for(300ms);
    state.counters["passes"] = made / 2.0;
    state.counters["passes_after"] = (sets.load() - made) / 2.0;
    failing = false;
    blanker.requestScreenBlanking(IOSScreenBlanker::NoBlanking);
    state.ResumeTiming();
  }
}
BENCHMARK(BM_BlankRequest)->Arg(0)->Arg(1)->Arg(2)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
