// The event list from an FDSN event service, for `zeva events --service`.
#pragma once

#include <string>

#include "zeva/feed/NEIC_QueryController.hpp"

namespace zeva::cli {

// Fills the controller's list with the last seven days' events of the
// service (a data centre's name or a base URL) within its magnitude limits.
// False after saying why on standard error; a UsageError for an unknown name.
bool loadEventsFromService(NEIC_QueryController& controller, const std::string& service);

}  // namespace zeva::cli
