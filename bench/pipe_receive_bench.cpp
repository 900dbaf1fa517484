// How long the client takes to connect and receive a 1 MiB document from a peer on the sim, with
// the per-chunk log text built (INFO) and skipped by the level guard (ERROR). The peer runs in a
// thread of this process and writes the document in 64 KiB pieces, as kestrine-peer does.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "app/pipe_client.h"
#include "logging/logger.h"
#include "platform/pipes_files.h"

namespace {

constexpr std::size_t kDocumentBytes = 1048576;
constexpr DWORD kPeerWriteBytes = 64 * 1024;

// Accepts every message and keeps none, so that only building the text is measured.
class DiscardingLogger : public velmo::logging::LoggerBase {
 public:
  explicit DiscardingLogger(std::int32_t level) : LoggerBase(level) {}
  void log(const std::string& message, velmo::logging::LogLevel, const long&) override {
    benchmark::DoNotOptimize(message.data());
  }
  void log(const std::string& message, velmo::logging::LogLevel, std::int32_t) override {
    benchmark::DoNotOptimize(message.data());
  }
  std::unique_ptr<LoggerBase> createSessionLogger(const std::string&) override {
    return std::make_unique<DiscardingLogger>(logLevel);
  }
  std::unique_ptr<LoggerBase> createCategoryLogger(std::uint32_t) override {
    return std::make_unique<DiscardingLogger>(logLevel);
  }
};

// Serves one client with the document, then closes its end.
void servePeer(const std::string& document, std::promise<void>& listening) {
  const HANDLE pipe = platform::CreateNamedPipeW(PLATFORM_WIDE("\\\\.\\pipe\\KestrinePipe"),
                                                 PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1,
                                                 kPeerWriteBytes, kPeerWriteBytes, 0, nullptr);
  listening.set_value();
  platform::ConnectNamedPipe(pipe, nullptr);
  for (std::size_t offset = 0; offset < document.size(); offset += kPeerWriteBytes) {
    DWORD written = 0;
    platform::WriteFile(pipe, document.data() + offset, kPeerWriteBytes, &written, nullptr);
  }
  platform::FlushFileBuffers(pipe);
  platform::CloseHandle(pipe);
}

void BM_ReceiveOneMebibyte(benchmark::State& state) {
  const std::string document(kDocumentBytes, 'k');
  DiscardingLogger logger(static_cast<std::int32_t>(state.range(0)));
  for (auto _ : state) {
    state.PauseTiming();
    std::promise<void> listening;
    std::thread peer(servePeer, std::cref(document), std::ref(listening));
    listening.get_future().wait();
    state.ResumeTiming();

    const velmo::PipeHandle handle = velmo::openPipe(logger);
    const std::string received = velmo::readPipeMessage(logger, handle.get());

    state.PauseTiming();
    peer.join();
    if (received.size() != kDocumentBytes) {
      state.SkipWithError("the document did not arrive whole");
    }
    state.ResumeTiming();
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kDocumentBytes));
}

BENCHMARK(BM_ReceiveOneMebibyte)
    ->Arg(velmo::logging::INFO)
    ->Arg(velmo::logging::ERROR)
    ->ArgName("logLevel")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  // A machine of its own, so that the pipe name is free.
  std::string root = (std::filesystem::temp_directory_path() / "kestrine-bench-XXXXXX").string();
  if (!::mkdtemp(root.data())) {
    return 2;
  }
  ::setenv("KESTRINE_SIM_ROOT", root.c_str(), 1);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::error_code ec;
  std::filesystem::remove_all(root, ec);
  return 0;
}
