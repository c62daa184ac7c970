/* Holds a mutex for the length of a scope. */
#ifndef SHBF_LOCK_H
#define SHBF_LOCK_H

#include <pthread.h>

namespace shbf {

class Lock {
  public:
    explicit Lock(pthread_mutex_t *mutex) : mutex_(mutex) { pthread_mutex_lock(mutex_); }
    ~Lock() { pthread_mutex_unlock(mutex_); }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

  private:
    pthread_mutex_t *mutex_;
};

} // namespace shbf

#endif
