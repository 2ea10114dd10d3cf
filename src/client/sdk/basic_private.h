// What the files of the public interface share. The fields of a handle that are read before the
// busy flag is taken are accessed atomically, because the call may overlap with another one.
#pragma once

#include <zep_mqtt/client/handle.h>

#include "core/limits.h"

namespace zep {

// Before the first creation of a handle in the process.
void sdk_print_banner_once();

// The public result for a core status: the only translation between the two.
int32_t sdk_result(int32_t core_status);

// Whether the operations of 5.0 serve this handle: it was created for 5.0 and has not been switched
// to 3.1.1 since.
bool sdk_speaks_50(const zep_mqtt_sdk_client &handle);

// The last loop call has seen the core connected.
bool sdk_is_usable(const zep_mqtt_sdk_client &handle);

void sdk_set_connected(zep_mqtt_sdk_client &handle, bool connected);

}  // namespace zep
