// What a Stop does with work that has not begun: Drain runs it, Discard drops it.
#pragma once

namespace threading {

enum class Rest { Drain, Discard };

}  // namespace threading
