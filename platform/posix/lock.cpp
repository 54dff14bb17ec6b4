#include "platform/lock.h"

#include <pthread.h>

namespace platform
{
namespace
{

pthread_mutex_t lock = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;

}  // namespace

void EnterCriticalSection()
{
    pthread_mutex_lock(&lock);
}

void LeaveCriticalSection()
{
    pthread_mutex_unlock(&lock);
}

}  // namespace platform
