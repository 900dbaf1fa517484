// Sim only: the registry watcher thread lives here.
// It polls the change mark of each watched machine every few milliseconds; when a mark moves it
// reloads that registry and signals every watch whose fingerprint differs. It starts with the
// first watch and ends when the last one is gone.
#include "platform/sim/registry/registry_watch.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/sim/registry/registry_store.h"

namespace sim {
namespace {

constexpr std::chrono::milliseconds kPollInterval{10};

class Watcher {
 public:
  ~Watcher() {
    {
      std::lock_guard<std::mutex> lock(mutex);
      shuttingDown = true;
    }
    wake.notify_all();
    if (thread.joinable()) {
      thread.join();
    }
  }

  void add(RegistryWatch watch) {
    std::lock_guard<std::mutex> lock(mutex);
    watches.push_back(Entry{nextSerial++, std::move(watch)});
    if (!running) {
      // A thread that ended on its own has given up the mutex for good; join it before the next.
      if (thread.joinable()) {
        thread.join();
      }
      running = true;
      thread = std::thread(&Watcher::run, this);
    }
  }

  std::size_t count() {
    std::lock_guard<std::mutex> lock(mutex);
    return watches.size();
  }

  void cancel(const void* keyHandle) {
    std::lock_guard<std::mutex> lock(mutex);
    watches.erase(
        std::remove_if(watches.begin(), watches.end(),
                       [&](const Entry& entry) { return entry.watch.keyHandle == keyHandle; }),
        watches.end());
  }

 private:
  struct Entry {
    std::uint64_t serial;
    RegistryWatch watch;
  };

  // What a poll found for one watch: the change mark it now stands at and whether it fired.
  struct Finding {
    std::uint64_t serial;
    std::string changeMark;
    bool changed;
  };

  void run() {
    std::unique_lock<std::mutex> lock(mutex);
    while (!shuttingDown && !watches.empty()) {
      wake.wait_for(lock, kPollInterval);
      const std::vector<Entry> snapshot = watches;
      lock.unlock();
      const std::vector<Finding> findings = poll(snapshot);
      lock.lock();
      apply(findings);
    }
    running = false;
  }

  // Reads the marks and, where one moved, the registry; touches no state of the watcher.
  static std::vector<Finding> poll(const std::vector<Entry>& entries) {
    std::map<std::filesystem::path, std::string> marks;
    std::map<std::filesystem::path, registry::Tree> trees;
    std::vector<Finding> findings;
    for (const Entry& entry : entries) {
      const RegistryWatch& watch = entry.watch;
      auto mark = marks.find(watch.machineDirectory);
      if (mark == marks.end()) {
        mark =
            marks.emplace(watch.machineDirectory, registry::readChangeMark(watch.machineDirectory))
                .first;
      }
      if (mark->second == watch.changeMark) {
        continue;
      }
      auto tree = trees.find(watch.machineDirectory);
      if (tree == trees.end()) {
        tree = trees.emplace(watch.machineDirectory, loadOrEmpty(watch.machineDirectory)).first;
      }
      const std::string now = tree->second.fingerprint(watch.keyPath, watch.subtree, watch.filter);
      findings.push_back(Finding{entry.serial, mark->second, now != watch.fingerprint});
    }
    return findings;
  }

  // A registry file caught half-written by a foreign tool or removed with its machine counts as
  // empty; the next mark brings the next look.
  static registry::Tree loadOrEmpty(const std::filesystem::path& machineDirectory) {
    try {
      return registry::Tree::load(machineDirectory);
    } catch (const std::exception&) {
      return registry::Tree();
    }
  }

  // Signals and drops the watches that fired; the others remember the mark they were checked at.
  void apply(const std::vector<Finding>& findings) {
    for (const Finding& finding : findings) {
      const auto it = std::find_if(watches.begin(), watches.end(), [&](const Entry& entry) {
        return entry.serial == finding.serial;
      });
      if (it == watches.end()) {
        continue;  // cancelled meanwhile
      }
      if (finding.changed) {
        it->watch.event->set();
        watches.erase(it);
      } else {
        it->watch.changeMark = finding.changeMark;
      }
    }
  }

  std::mutex mutex;
  std::condition_variable wake;
  std::vector<Entry> watches;
  std::uint64_t nextSerial = 0;
  bool running = false;
  bool shuttingDown = false;
  std::thread thread;
};

Watcher& watcher() {
  static Watcher instance;
  return instance;
}

}  // namespace

void addRegistryWatch(RegistryWatch watch) { watcher().add(std::move(watch)); }

void cancelRegistryWatches(const void* keyHandle) { watcher().cancel(keyHandle); }

std::size_t test::activeRegistryWatches() { return watcher().count(); }

}  // namespace sim
