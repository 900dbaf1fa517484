// The blanking worker: construction, the worker's loop, requests and shutdown.
#include "blanking/windows_screen_blanker.h"

#include <fmt/format.h>

#include <exception>
#include <stdexcept>
#include <utility>

using velmo::logging::DEBUG;
using velmo::logging::ERROR;
using velmo::logging::INFO;
using velmo::logging::kInheritCategory;
using velmo::logging::kUnexpectedFailure;
using velmo::logging::logAt;
using velmo::logging::logError;

WindowsScreenBlanker::WindowsScreenBlanker(std::unique_ptr<velmo::logging::LoggerBase> logger,
                                           const std::string& inputDocument)
    : WindowsScreenBlanker(std::move(logger), inputDocument, false) {}

WindowsScreenBlanker::WindowsScreenBlanker(std::unique_ptr<velmo::logging::LoggerBase> logger,
                                           const std::string& inputDocument,
                                           bool offerPowerMethod) {
  if (!logger) {
    throw std::invalid_argument("windows screen blanker requires a valid logger");
  }
  this->logger = std::move(logger);
  // The library is tried on every run, so its signature is checked on every run; without it the
  // blanker goes on with gamma blanking alone.
  try {
    dxva2Library =
        std::make_unique<velmo::Dxva2Library>(this->logger->createCategoryLogger(kInheritCategory));
  } catch (const std::exception& e) {
    velmo::logging::logAt(*this->logger, DEBUG, this->logger->defaultResultCode,
                          fmt::format("failed to load dxva2 library: {}", e.what()));
  }
  // Monitor power blanking acts only through the library: without it the method is never offered.
  if (offerPowerMethod && dxva2Library) {
    supportedMethods.fetch_or(DPMSBlanking);
  }
  loadDisplayStates(inputDocument);

  std::promise<void> started;
  std::future<void> workerStarted = started.get_future();
  workerThread = std::thread(&WindowsScreenBlanker::blankingProc, this, std::move(started));
  workerStarted.wait();
}

WindowsScreenBlanker::~WindowsScreenBlanker() {
  try {
    {
      std::lock_guard<std::mutex> lock(requestMutex);
      running = false;
    }
    requestCondition.notify_all();
    if (workerThread.joinable()) {
      workerThread.join();
    }
  } catch (const std::exception& e) {
    logError(*logger, kUnexpectedFailure, e.what());
  }
}

IOSScreenBlanker::ScreenBlankingMethod WindowsScreenBlanker::getSupportedMethods() {
  return static_cast<ScreenBlankingMethod>(supportedMethods.load());
}

IOSScreenBlanker::ScreenBlankingMethod WindowsScreenBlanker::getCurrentMethods() {
  std::lock_guard<std::mutex> lock(statusMutex);
  return static_cast<ScreenBlankingMethod>(currentMethods);
}

void WindowsScreenBlanker::blankingProc(std::promise<void> started) {
  try {
    const std::uint32_t supported = supportedMethods.load();
    if (!gammaBlanker && (supported & GammaBlanking) != 0) {
      gammaBlanker = std::make_unique<WindowsGammaBlanker>(
          logger->createCategoryLogger(kInheritCategory), Json::Value(), ScreenBlanker::restoreOnly());
    }
    if ((supported & DPMSBlanking) != 0 && !ScreenBlanker::restoreOnly() && !dpmsStatesSaved) {
      saveDPMSStates();
    }
  } catch (const std::exception& e) {
    logError(*logger, kUnexpectedFailure, e.what());
  }
  started.set_value();

  try {
    logAt(*logger, INFO, logger->defaultResultCode, "Windows screen blanking started");
    while (running) {
      std::uint32_t requested = NoBlanking;
      bool pending = false;
      {
        std::unique_lock<std::mutex> lock(requestMutex);
        requestCondition.wait_for(lock, kWorkerPeriod, [this] { return !running || requestPending; });
        requested = requestedMethods;
        pending = requestPending;
      }
      std::uint32_t current = NoBlanking;
      {
        std::lock_guard<std::mutex> lock(statusMutex);
        current = currentMethods;
      }
      if (current != NoBlanking || pending) {
        std::uint32_t achieved = NoBlanking;
        bool gammaResult = false;
        if ((supportedMethods.load() & GammaBlanking) == 0) {
          gammaResult = true;
        } else if ((requested & GammaBlanking) != 0) {
          std::lock_guard<std::mutex> lock(displayStateMutex);
          gammaResult = gammaBlanker && gammaBlanker->blank();
          achieved = gammaResult ? (NoBlanking | GammaBlanking) : NoBlanking;
        } else if ((current & GammaBlanking) != 0 || (requested & NoBlanking) != 0) {
          std::lock_guard<std::mutex> lock(displayStateMutex);
          gammaResult = gammaBlanker && gammaBlanker->restore();
        }
        const bool powerResult = applyDPMSRequest(current, requested, achieved);
        const bool passResult = gammaResult && powerResult;
        {
          std::lock_guard<std::mutex> lock(statusMutex);
          currentMethods = achieved;
        }
        if (pending) {
          if (passResult) {
            {
              std::lock_guard<std::mutex> lock(statusMutex);
              requestCompleted = 1;
            }
            {
              std::lock_guard<std::mutex> lock(requestMutex);
              requestPending = false;
            }
            requestCompletedCondition.notify_all();
          } else {
            std::this_thread::sleep_for(kRetryDelay);
          }
        }
      }
    }
    logAt(*logger, INFO, logger->defaultResultCode, "Windows screen blanking ended");
  } catch (const std::exception& e) {
    logError(*logger, kUnexpectedFailure, e.what());
  }
}

void WindowsScreenBlanker::requestScreenBlanking(ScreenBlankingMethod method) {
  std::uint32_t methods = method;
  const std::uint32_t supported = supportedMethods.load();
  if ((methods & DPMSBlanking) != 0 && (supported & DPMSBlanking) == 0) {
    logError(*logger, kUnexpectedFailure, "Unsupported method 'DPMSBlanking' requested");
    methods &= ~static_cast<std::uint32_t>(DPMSBlanking);
  }
  if ((methods & GammaBlanking) != 0 && (supported & GammaBlanking) == 0) {
    logError(*logger, kUnexpectedFailure, "Unsupported method 'GammaBlanking' requested");
    methods &= ~static_cast<std::uint32_t>(GammaBlanking);
  }
  if (supported == NoBlanking || !running) {
    logAt(*logger, INFO, logger->defaultResultCode,
          "Screen blanking/restore request aborted, unable to blank or restore");
    return;
  }
  {
    std::lock_guard<std::mutex> lock(statusMutex);
    requestCompleted = 0;
  }
  {
    std::lock_guard<std::mutex> lock(requestMutex);
    requestedMethods = methods;
    requestPending = true;
  }
  requestCondition.notify_all();

  const char* word = methods == NoBlanking ? "restore" : "blank";
  const char* outcome = "succeeded";
  bool completed = false;
  {
    std::unique_lock<std::mutex> lock(statusMutex);
    completed = requestCompletedCondition.wait_for(lock, kRequestLimit,
                                                   [this] { return requestCompleted != 0; });
  }
  if (!completed) {
    outcome = "failed";
    std::lock_guard<std::mutex> lock(requestMutex);
    requestPending = false;
  }
  velmo::logging::logAt(*logger, DEBUG, logger->defaultResultCode,
                        fmt::format("Request to {} {}", word, outcome));
}
