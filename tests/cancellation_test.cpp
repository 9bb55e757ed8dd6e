// An agent may cancel its threads: a login is not left half way. (The sanitizers cannot bear an unwound
// stack.)
#include <gtest/gtest.h>
#include <pthread.h>

#include "tests/support/host.h"
#include "tests/support/operations.h"

namespace {

using namespace operations;

unsigned char buffer[40'000];

/// A thread of an agent that is cancelled while it calls.
struct CancelledThread {
    const Operation& operation;
    OpenInitiator& initiator;
    int state_inside;
    unsigned int status = 0;
    int state_outside = -1;
    bool outlived = false;

    void run() {
        int before;
        pthread_setcancelstate(state_inside, &before);
        pthread_cancel(pthread_self());
        Call call{initiator, buffer};
        status = operation.call(call);
        pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state_outside);
        pthread_testcancel();
        outlived = true;
    }
};

TEST(Cancellation, WaitsForTheEndOfAnOperation) {
    OpenInitiator initiator;
    for (const Operation& operation : table) {
        for (const int state : {PTHREAD_CANCEL_ENABLE, PTHREAD_CANCEL_DISABLE}) {
            SCOPED_TRACE(operation.name);
            populate_host();
            operation.situation();
            shell::forget();
            CancelledThread cancelled{operation, initiator, state};
            pthread_t thread;
            const auto run = [](void* self) -> void* {
                static_cast<CancelledThread*>(self)->run();
                return nullptr;
            };
            ASSERT_EQ(pthread_create(&thread, nullptr, run, &cancelled), 0);
            pthread_join(thread, nullptr);
            EXPECT_EQ(cancelled.status, operation.healthy.status);
            EXPECT_EQ(shell::commands(), operation.healthy.commands);
            EXPECT_EQ(cancelled.state_outside, state) << "it is as it was before";
            EXPECT_FALSE(cancelled.outlived) << "the cancellation is acted upon afterwards";
        }
    }
}

}  // namespace
