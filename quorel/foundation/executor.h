// Where functions run: a run loop's thread, a serial queue, a pool of background threads.
#pragma once

#include <functional>

#include "quorel/foundation/export.h"

namespace quorel {

class QUOREL_VISIBLE Executor {
public:
    virtual ~Executor() = default;

    // Runs `function` later on this executor. Any thread. Functions posted from one thread run in the order of
    // their posting. An executor that is destroyed drops what it has not run.
    virtual void post(std::function<void()> function) = 0;

    // Whether the calling thread is running a function of this executor (or, for a run loop, is its thread).
    virtual bool isCurrent() const = 0;
};

}  // namespace quorel
