// What becomes of the work that waits when it is stopped.
#pragma once

namespace threading {

enum class Rest { Drain, Discard };

}  // namespace threading
