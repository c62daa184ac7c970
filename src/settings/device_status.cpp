#include "settings/device_status.h"

DeviceStatus device_status;

Relaxed<int32_t> last_signal{-1};
