#include "basalt/concurrency/read_write_lock.h"

namespace basalt {

ReadWriteLock::ReadWriteLock() : condition(new PavaneCondition(&mutex)), readers(0), writer(0) {}

ReadWriteLock::~ReadWriteLock() {
  delete condition;
}

void ReadWriteLock::read_lock() {
  PavaneSynchronized guard(mutex);
  while (writer != 0) {
    condition->wait();
  }
  ++readers;
}

void ReadWriteLock::read_unlock() {
  PavaneSynchronized guard(mutex);
  // Only writers can be waiting when the last reader goes; the one woken wakes the others.
  if (readers != 0 && --readers == 0) {
    condition->signal();
  }
}

void ReadWriteLock::write_lock() {
  PavaneSynchronized guard(mutex);
  while (readers != 0 || writer != 0) {
    condition->wait();
  }
  writer = 1;
}

void ReadWriteLock::write_unlock() {
  PavaneSynchronized guard(mutex);
  writer = 0;
  condition->broadcast();
}

PavaneSynchronizedRead::PavaneSynchronizedRead(ReadWriteLock& lock) : lock(&lock) {
  lock.read_lock();
}

PavaneSynchronizedRead::~PavaneSynchronizedRead() {
  lock->read_unlock();
}

PavaneSynchronizedWrite::PavaneSynchronizedWrite(ReadWriteLock& lock) : lock(&lock) {
  lock.write_lock();
}

PavaneSynchronizedWrite::~PavaneSynchronizedWrite() {
  lock->write_unlock();
}

} // namespace basalt
