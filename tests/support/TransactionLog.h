// aon_test::TransactionLog: while it lives, keeps every request and reply the host binder reports
// (host::SetTransactionObserver), from whatever thread makes them.
#pragma once

#include <android-base/thread_annotations.h>
#include <host/binder_control.h>

#include <mutex>
#include <utility>
#include <vector>

namespace aon_test {

class TransactionLog final {
  public:
    TransactionLog() {
        host::SetTransactionObserver([this](const host::TransactionRecord& record) {
            std::lock_guard<std::mutex> guard(mLock);
            mRecords.push_back(record);
        });
    }
    ~TransactionLog() { host::SetTransactionObserver(nullptr); }
    TransactionLog(const TransactionLog&) = delete;
    TransactionLog& operator=(const TransactionLog&) = delete;

    // What was reported since the last Take(), in order.
    std::vector<host::TransactionRecord> Take() {
        std::lock_guard<std::mutex> guard(mLock);
        return std::exchange(mRecords, {});
    }

  private:
    std::mutex mLock;
    std::vector<host::TransactionRecord> mRecords GUARDED_BY(mLock);
};

}  // namespace aon_test
