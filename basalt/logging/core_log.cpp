#include "basalt/logging/core_log.h"

#include "basalt/concurrency/pavane_mutex.h"
#include "basalt/frame/static/static_slot.h"
#include "basalt/logging/core_log_impl.h"

#include <memory>
#include <new>

namespace basalt {
namespace {

// Owns the process's log object until the exit list runs.
class LogObjectHolder {
public:
  LogObjectHolder() = default;
  ~LogObjectHolder() {
    if (CoreLog* log = object.load(std::memory_order_acquire)) {
      delete log;
      frame::debugTrace("deleted ", "log object");
    }
  }
  LogObjectHolder(const LogObjectHolder&) = delete;
  LogObjectHolder& operator=(const LogObjectHolder&) = delete;

  CoreLog* get() const { return object.load(std::memory_order_acquire); }
  void reset(std::unique_ptr<CoreLog> log) {
    object.store(log.release(), std::memory_order_release);
  }

private:
  std::atomic<CoreLog*> object{nullptr};
};

// Made on first use, not at load, and entered on the exit list at that moment.
frame::StaticSlot<LogObjectHolder> logObjectHolder;
frame::StaticSlot<PavaneMutex> logObjectMutex;
frame::StaticSlot<PavaneMutex> ensureInitMutex;

bool makeLogObjectStatics() {
  frame::makeStaticObject(logObjectHolder, "getLogObject holder",
                          [] { logObjectHolder.destroy(); });
  frame::makeStaticObject(logObjectMutex, "getLogObject mutex", [] { logObjectMutex.destroy(); });
  return true;
}

bool makeEnsureInitMutex() {
  frame::makeStaticObject(ensureInitMutex, "ensure_init mutex", [] { ensureInitMutex.destroy(); });
  return true;
}

// The first use of a log object: makes its implementation under the mutex of ensure_init
// and publishes it only once it is usable, so that no other thread meets it half made.
bool makeImplementation(std::atomic<CoreLogImpl*>& impl) {
  static const bool mutexMade = makeEnsureInitMutex();
  static_cast<void>(mutexMade);
  PavaneSynchronized lock(ensureInitMutex.get());
  if (impl.load(std::memory_order_relaxed) != nullptr) {
    return true;
  }
  std::unique_ptr<CoreLogImpl> made;
  try {
    made = std::make_unique<CoreLogImpl>();
  } catch (const std::bad_alloc&) {
    return false;
  }
  if (!made->init()) {
    return false;
  }
  impl.store(made.release(), std::memory_order_release);
  return true;
}

void share(CoreLogImpl* implementation) {
  if (implementation != nullptr) {
    implementation->addOwner();
  }
}

void unshare(CoreLogImpl* implementation) {
  if (implementation != nullptr && implementation->dropOwner()) {
    delete implementation;
  }
}

} // namespace

CoreLog* getLogObject() {
  static const bool staticsMade = makeLogObjectStatics();
  static_cast<void>(staticsMade);
  LogObjectHolder& holder = logObjectHolder.get();
  if (CoreLog* log = holder.get()) {
    return log;
  }
  PavaneSynchronized lock(logObjectMutex.get());
  if (holder.get() == nullptr) {
    std::unique_ptr<CoreLog> log(new (std::nothrow) CoreLog);
    if (log != nullptr) {
      holder.reset(std::move(log));
      frame::debugTrace("made ", "log object");
    }
  }
  return holder.get();
}

CoreLog::CoreLog() = default;

CoreLog::CoreLog(const char* /*name*/) {}

CoreLog::CoreLog(const CoreLog& other) : impl(other.impl.load(std::memory_order_acquire)) {
  share(impl.load(std::memory_order_relaxed));
}

CoreLog& CoreLog::operator=(const CoreLog& other) {
  CoreLogImpl* const shared = other.impl.load(std::memory_order_acquire);
  share(shared);
  unshare(impl.exchange(shared, std::memory_order_acq_rel));
  return *this;
}

CoreLog::~CoreLog() {
  unshare(impl.load(std::memory_order_acquire));
}

bool CoreLog::ensure_init() {
  // The test of every call is inlined; the making is not.
  return impl.load(std::memory_order_acquire) != nullptr || makeImplementation(impl);
}

bool CoreLog::log(std::uint32_t message, VerbosityType level, const KELPString& module,
                  const KELPString& component, int insertCount, const unsigned short** inserts) {
  if (insertCount < 0 || (insertCount != 0 && inserts == nullptr)) {
    return false;
  }
  if (!ensure_init()) {
    return false;
  }
  return impl.load(std::memory_order_acquire)
      ->writeRecord(message, level, module, component, insertCount, inserts);
}

bool CoreLog::get(KELPString& text, std::uint32_t message, int insertCount,
                  const unsigned short** inserts) {
  if (!ensure_init()) {
    return false;
  }
  return impl.load(std::memory_order_acquire)->get(text, message, insertCount, inserts);
}

CoreLog::VerbosityType* CoreLog::getModuleVerbosity(const KELPString& module,
                                                    const KELPString& component) {
  if (!ensure_init()) {
    return nullptr;
  }
  return impl.load(std::memory_order_acquire)->getVerbosity(module, component);
}

} // namespace basalt
