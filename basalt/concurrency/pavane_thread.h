#ifndef BASALT_CONCURRENCY_PAVANE_THREAD_H
#define BASALT_CONCURRENCY_PAVANE_THREAD_H

#include "basalt/export.h"
#include "basalt/platform/threads/jtc_thread.h"

namespace basalt {

// A thread whose body is work(arg). Objects live on the heap and are held by
// platform::JTCHandleT; a started thread keeps its object alive until its body has returned.
// Interruptions of join are absorbed; a refused priority is a BaseError.
// Its handles may be held and used on any thread.
class BASALT_API PavaneThread : public platform::JTCThread {
public:
  explicit PavaneThread(void* arg = nullptr, platform::JTCHandleT<platform::JTCThreadGroup> group =
                                                 platform::JTCInitialize::getTermGroup());
  ~PavaneThread() override;

  void start_undetached();
  // Returns when the thread has ended, however often the wait is interrupted. The argument is
  // not used.
  void join(void* unused);
  static platform::JTCThread* self();
  // Always 0: nothing gives the field a value.
  platform::DWORD id() const { return threadId; }
  // The value goes to the thread library unchanged (see JTCThread::setPriority). A refusal by
  // the system is thrown as BaseError 0x2017053.
  void set_priority(int priority);

  // Calls work(arg) and drops its result; the thread library calls it on the new thread.
  void run() override;
  void* run_undetached();

  virtual void* work(void* arg) = 0;

private:
  void* arg;
  platform::DWORD threadId = 0;
};

// The thread library's thread under the clients' name: a derived class overrides run().
// Its handles may be held and used on any thread.
class BASALT_API MarlowThread : public platform::JTCThread {
public:
  explicit MarlowThread(void* arg = nullptr, platform::JTCHandleT<platform::JTCThreadGroup> group =
                                                 platform::JTCInitialize::getTermGroup());
  ~MarlowThread() override;

protected:
  void* arg; // for the derived class; basalt doesn't read it
};

} // namespace basalt

#endif
