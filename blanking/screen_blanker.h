// The contract between the program and a screen blanker, and the front object that main holds.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "logging/logger.h"

class IOSScreenBlanker {
 public:
  // Bits; a value of the type holds any combination of them.
  enum ScreenBlankingMethod : std::uint32_t {
    NoBlanking = 1,     // as a request: bring the displays back
    GammaBlanking = 2,  // blank by gamma ramps
    DPMSBlanking = 4,   // blank by monitor power
  };

  // Stops all activity of the blanker; restores nothing.
  virtual ~IOSScreenBlanker() = default;
  // The methods this blanker can use at this moment.
  virtual ScreenBlankingMethod getSupportedMethods() = 0;
  // Asks for the given state and blocks until it is reached or a time limit ran out.
  virtual void requestScreenBlanking(ScreenBlankingMethod method) = 0;
  // The methods in effect at this moment.
  virtual ScreenBlankingMethod getCurrentMethods() = 0;
  // The display state document of the state this blanker recorded or was given.
  virtual std::string getSavedDisplayStates() const = 0;
};

class ScreenBlanker {
 public:
  // Takes over `logger` (required) and `blanker`; without a blanker it makes the Windows one from
  // `inputDocument`, and returns once that blanker's worker runs.
  ScreenBlanker(std::unique_ptr<velmo::logging::LoggerBase> logger, const std::string& inputDocument,
                std::unique_ptr<IOSScreenBlanker> blanker);
  ~ScreenBlanker();
  ScreenBlanker(const ScreenBlanker&) = delete;
  ScreenBlanker& operator=(const ScreenBlanker&) = delete;

  // Requests every method the blanker supports now.
  void blank();
  // Requests NoBlanking.
  void restore();
  std::string getSavedDisplayStates() const;

  // Option 0 is restoreOnly; other option numbers change nothing.
  static void setOption(std::int32_t option, bool value);
  // The process-wide option: blankers do not record the displays' current state.
  static bool restoreOnly();

 private:
  void request(IOSScreenBlanker::ScreenBlankingMethod method, const char* word);

  std::unique_ptr<velmo::logging::LoggerBase> logger;
  std::unique_ptr<IOSScreenBlanker> blanker;
};
