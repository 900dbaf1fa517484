// A stray client of the peer's pipe for the chaos rounds: it connects the way the tool does, as
// soon as the pipe exists, writes the bytes of a file (a well-formed document of another machine)
// and closes. A peer must neither keep that document nor take this client for its own tool.
//   kestrine-stray-client FILE [WAIT_MS]   exit 0 sent, 1 no pipe within WAIT_MS (default 3000), 2 other failure
#include <chrono>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>

#include "app/make_logger.h"
#include "app/pipe_client.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::cerr << "usage: kestrine-stray-client FILE [WAIT_MS]\n";
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  const std::string document{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  const auto deadline = std::chrono::steady_clock::now() +
                        std::chrono::milliseconds(argc > 2 ? std::stoi(argv[2]) : 3000);
  const auto logger = velmo::makeLogger("");
  for (;;) {
    try {
      const velmo::PipeHandle pipe = velmo::openPipe(*logger);
      return velmo::writePipeMessage(*logger, pipe.get(), document) ? 0 : 2;
    } catch (const std::runtime_error&) {
      // No pipe yet (or no free instance within the client's own waits): poll until the deadline.
      if (std::chrono::steady_clock::now() >= deadline) return 1;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
}
