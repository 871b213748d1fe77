#include "tools/aon-sim/StepWatchdog.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <utility>
#include <vector>

#include "host/binder_control.h"
#include "tools/common/ThreadWatch.h"

namespace aon_sim {
namespace {

std::string ThreadName(pid_t tid) {
    std::ifstream comm("/proc/self/task/" + std::to_string(tid) + "/comm");
    std::string name;
    std::getline(comm, name);
    return name.empty() ? "?" : name;
}

}  // namespace

StepWatchdog::StepWatchdog(std::chrono::milliseconds bound, int exitStatus,
                           std::function<std::string(int pid)> processName)
    : mBound(bound),
      mExitStatus(exitStatus),
      mProcessName(std::move(processName)),
      mThread(&StepWatchdog::Run, this) {}

StepWatchdog::~StepWatchdog() {
    {
        std::lock_guard<std::mutex> guard(mLock);
        mStopping = true;
    }
    mChanged.notify_all();
    mThread.join();
}

void StepWatchdog::Begin(std::string where, std::string text) {
    std::set<int> threads = aon_tools::ThreadWatch::Threads();
    {
        std::lock_guard<std::mutex> guard(mLock);
        mArmed = true;
        mDeadline = std::chrono::steady_clock::now() + mBound;
        mWhere = std::move(where);
        mText = std::move(text);
        mRunner = gettid();
        mThreadsBefore = std::move(threads);
    }
    mChanged.notify_all();
}

void StepWatchdog::Progress() {
    std::lock_guard<std::mutex> guard(mLock);
    mDeadline = std::chrono::steady_clock::now() + mBound;
}

void StepWatchdog::End() {
    std::lock_guard<std::mutex> guard(mLock);
    mArmed = false;
}

void StepWatchdog::Run() {
    std::unique_lock<std::mutex> lock(mLock);
    android::base::ScopedLockAssertion held(mLock);
    while (!mStopping) {
        if (!mArmed) {
            mChanged.wait(lock);
            continue;
        }
        const auto deadline = mDeadline;
        if (mChanged.wait_until(lock, deadline) == std::cv_status::timeout && mArmed &&
            mDeadline == deadline && !mStopping) {
            Expire();
        }
    }
}

void StepWatchdog::Expire() {
    // The threads to name: the runner, those the step started, those inside transactions.
    std::set<int> started;
    for (int tid : aon_tools::ThreadWatch::Threads()) {
        if (mThreadsBefore.count(tid) == 0) started.insert(tid);
    }
    std::map<pid_t, std::string> stacks;
    for (const host::ThreadTransactions& thread : host::TransactionsInFlight()) {
        std::string text;
        for (const host::TransactionRecord& record : thread.stack) {
            text += std::string(text.empty() ? "in " : ", then ") + record.method + " " +
                    mProcessName(record.callerPid) + " -> " + mProcessName(record.targetPid) +
                    " (" + std::to_string(record.dataBytes) + " bytes" +
                    (record.nested ? ", nested" : "") + ")";
        }
        stacks[thread.thread] = text;
    }
    std::set<pid_t> threads(started.begin(), started.end());
    threads.insert(mRunner);
    for (const auto& [tid, stack] : stacks) threads.insert(tid);

    std::string report = mWhere + ": the step did not finish within " +
                         std::to_string(mBound.count() / 1000) + " s: " + mText + "\n";
    for (pid_t tid : threads) {
        report += "  thread " + ThreadName(tid) + " (" + std::to_string(tid) + ")";
        if (tid == mRunner) report += ", runs the step";
        if (started.count(tid) != 0) report += ", started by the step";
        if (const auto stack = stacks.find(tid); stack != stacks.end()) {
            report += ", " + stack->second;
        }
        report += "\n";
    }
    std::fflush(stdout);
    std::fputs(report.c_str(), stderr);
    std::fflush(stderr);
    std::_Exit(mExitStatus);
}

}  // namespace aon_sim
