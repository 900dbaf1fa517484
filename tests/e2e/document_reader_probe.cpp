// Hands each given file to the tool's own reader as a restore run would get it (through the pipe
// client on the sim's \\.\pipe\KestrinePipe, then into a restore-only blanker) and prints, one
// JSON line per file, what the reader made of it: the state the blanker then holds, whether it
// logged "Failed to parse input", and the error that broke the run off, if any. The restore pass
// itself is left out: it writes back exactly the held state, and a failing pass takes a second.
#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <thread>

#include "app/pipe_client.h"
#include "blanking/screen_blanker.h"
#include "platform/pipes_files.h"
#include "tests/support/recording_logger.h"

namespace {

// Serves `bytes` to one client of the tool's pipe and closes; a refused write ends it early.
void serve(HANDLE server, const std::string& bytes) {
  platform::ConnectNamedPipe(server, nullptr);
  DWORD written = 0;
  platform::WriteFile(server, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  platform::CloseHandle(server);
}

Json::Value probe(const std::string& bytes) {
  testing_support::RecordingLogger log;
  Json::Value verdict;
  try {
    const HANDLE server = platform::CreateNamedPipeW(
        PLATFORM_WIDE("\\\\.\\pipe\\KestrinePipe"), PIPE_ACCESS_DUPLEX,
        PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, 1, 4096, 4096, 0, nullptr);
    std::thread peer(serve, server, bytes);
    std::string document;
    {
      const velmo::PipeHandle client = velmo::openPipe(log);
      document = velmo::readPipeMessage(log, client.get());
    }
    peer.join();
    ScreenBlanker::setOption(0, true);
    const std::string held =
        ScreenBlanker(log.createCategoryLogger(velmo::logging::kInheritCategory), document, nullptr)
            .getSavedDisplayStates();
    Json::Reader().parse(held, verdict["held"]);
  } catch (const std::exception& e) {
    verdict["aborted"] = e.what();
  }
  verdict["parseFailed"] = log.contains("Failed to parse input");
  return verdict;
}

}  // namespace

int main(int argc, char** argv) {
  Json::StreamWriterBuilder oneLine;
  oneLine["indentation"] = "";
  for (int i = 1; i < argc; ++i) {
    std::ifstream in(argv[i], std::ios::binary);
    Json::Value verdict = probe(std::string(std::istreambuf_iterator<char>(in), {}));
    verdict["file"] = argv[i];
    std::cout << Json::writeString(oneLine, verdict) << '\n';
  }
  return 0;
}
