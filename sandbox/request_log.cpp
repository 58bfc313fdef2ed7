#include "sandbox/request_log.h"

#include <utility>

namespace quorel::sandbox {

std::uint64_t RequestLog::arrived(RequestRecord record) {
    const std::lock_guard lock(mutex_);
    if (records_.size() == capacity) {
        records_.pop_front();
        ++first_;
    }
    records_.push_back(std::move(record));
    return first_ + records_.size() - 1;
}

void RequestLog::answered(std::uint64_t number, int status) {
    const std::lock_guard lock(mutex_);
    if (number >= first_ && number - first_ < records_.size()) records_[number - first_].status = status;
}

std::vector<RequestRecord> RequestLog::all() const {
    const std::lock_guard lock(mutex_);
    return {records_.begin(), records_.end()};
}

void RequestLog::clear() {
    const std::lock_guard lock(mutex_);
    first_ += records_.size();
    records_.clear();
}

}  // namespace quorel::sandbox
