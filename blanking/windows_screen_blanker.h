// The Windows screen blanker: a worker thread that owns all work on the displays, fed by
// requests from the owning thread.
#pragma once

#include <json/value.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "blanking/gamma/windows_gamma_blanker.h"
#include "blanking/physical_monitor_record.h"
#include "blanking/screen_blanker.h"
#include "library/dxva2_library.h"
#include "logging/logger.h"

class WindowsScreenBlanker : public IOSScreenBlanker {
 public:
  // Reads `inputDocument` (may be empty), starts the worker and returns once the worker has
  // recorded the displays' state.
  WindowsScreenBlanker(std::unique_ptr<velmo::logging::LoggerBase> logger,
                       const std::string& inputDocument);
  // Stops the worker; the displays stay as they are.
  ~WindowsScreenBlanker() override;
  WindowsScreenBlanker(const WindowsScreenBlanker&) = delete;
  WindowsScreenBlanker& operator=(const WindowsScreenBlanker&) = delete;

  ScreenBlankingMethod getSupportedMethods() override;
  void requestScreenBlanking(ScreenBlankingMethod method) override;
  ScreenBlankingMethod getCurrentMethods() override;
  std::string getSavedDisplayStates() const override;

  // Worker period, retry delay, request limit and the wait for the monitor snapshot.
  static constexpr std::chrono::milliseconds kWorkerPeriod{100};
  static constexpr std::chrono::milliseconds kRetryDelay{100};
  static constexpr std::chrono::milliseconds kRequestLimit{1000};
  static constexpr std::chrono::seconds kSavedStateLimit{4};

 private:
  // Tests reach the monitor power method through this class, which only the tests define.
  friend class WindowsScreenBlankerTestAccess;

  // As the public constructor; with `offerPowerMethod` DPMSBlanking joins supportedMethods, but
  // only when the Monitor Configuration library was loaded. The program never asks for it.
  WindowsScreenBlanker(std::unique_ptr<velmo::logging::LoggerBase> logger,
                       const std::string& inputDocument, bool offerPowerMethod);

  void blankingProc(std::promise<void> started);
  bool loadDisplayStates(const std::string& document);

  // Monitor power method; it only acts while DPMSBlanking is in supportedMethods.
  bool applyDPMSRequest(std::uint32_t current, std::uint32_t requested, std::uint32_t& achieved);
  bool saveDPMSStates();
  bool blankDPMS();
  bool restoreDPMS();

  // The inventory of physical monitors: rebuilds physicalMonitors, one record per physical
  // monitor of every display monitor, with their power states when `readPowerInfo` is set.
  bool enumeratePhysicalMonitors(bool readPowerInfo);
  // Appends the records of one display monitor; FALSE stops the enumeration.
  BOOL addPhysicalMonitors(HMONITOR monitor, HDC deviceContext, LPRECT rectangle);
  // The enumeration callback; its LPARAM is the blanker.
  static BOOL CALLBACK monitorEnumProc(HMONITOR monitor, HDC deviceContext, LPRECT rectangle,
                                       LPARAM blanker);

  std::unique_ptr<velmo::logging::LoggerBase> logger;
  std::unique_ptr<velmo::Dxva2Library> dxva2Library;  // null when dxva2.dll was not accepted
  mutable std::mutex displayStateMutex;
  bool dpmsStatesSaved = false;
  std::atomic<bool> running{true};
  std::unique_ptr<WindowsGammaBlanker> gammaBlanker;
  std::vector<PhysicalMonitorRecord> initialMonitors;
  std::vector<PhysicalMonitorRecord> physicalMonitors;
  std::mutex statusMutex;
  std::condition_variable requestCompletedCondition;
  mutable std::condition_variable dpmsStatesSavedCondition;
  // How long getSavedDisplayStates waits for the snapshot: kSavedStateLimit, shorter only in tests.
  std::chrono::milliseconds savedStateLimit{kSavedStateLimit};
  std::mutex requestMutex;
  std::condition_variable requestCondition;
  std::atomic<std::uint32_t> supportedMethods{NoBlanking | GammaBlanking};
  std::uint32_t requestedMethods = NoBlanking;
  std::uint32_t currentMethods = NoBlanking;
  std::uint32_t requestCompleted = 0;
  bool requestPending = false;
  std::uint32_t dpmsFailureCount = 0;
  std::thread workerThread;
};
