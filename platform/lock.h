// The one lock of the library.
#pragma once

namespace platform
{

// Take and give back the lock. The thread that has it may take it again.
void EnterCriticalSection();
void LeaveCriticalSection();

}  // namespace platform
