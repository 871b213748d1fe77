// aon_test::TransactionLog: while it lives, keeps every request and reply the host binder reports
// (host::SetTransactionObserver), from whatever thread makes them. A thread that was already
// reporting when the log went still finds the records it writes to.
#pragma once

#include <android-base/thread_annotations.h>
#include <host/binder_control.h>

#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace aon_test {

class TransactionLog final {
  public:
    TransactionLog() {
        host::SetTransactionObserver([records = mRecords](const host::TransactionRecord& record) {
            std::lock_guard<std::mutex> guard(records->lock);
            records->list.push_back(record);
        });
    }
    ~TransactionLog() { host::SetTransactionObserver(nullptr); }
    TransactionLog(const TransactionLog&) = delete;
    TransactionLog& operator=(const TransactionLog&) = delete;

    // What was reported since the last Take(), in order.
    std::vector<host::TransactionRecord> Take() {
        std::lock_guard<std::mutex> guard(mRecords->lock);
        return std::exchange(mRecords->list, {});
    }

    // A request as "method caller->target [nested] depth N".
    static std::string RequestText(const host::TransactionRecord& record) {
        return std::string(record.method) + " " + std::to_string(record.callerPid) + "->" +
               std::to_string(record.targetPid) + (record.nested ? " nested" : "") + " depth " +
               std::to_string(record.depth);
    }

  private:
    struct Records {
        std::mutex lock;
        std::vector<host::TransactionRecord> list GUARDED_BY(lock);
    };
    const std::shared_ptr<Records> mRecords = std::make_shared<Records>();
};

}  // namespace aon_test
