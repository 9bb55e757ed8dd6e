// The records of all live sessions.
#pragma once

#include "core/base/record_list.h"

namespace opinit {

/// Owns a chain of session records, each with the connection record it points to.
class SessionList {
public:
    SessionList() = default;
    explicit SessionList(_SessionInformation* first) : records_{first} {}
    SessionList(const SessionList&) = delete;
    SessionList& operator=(const SessionList&) = delete;
    ~SessionList();

    _SessionInformation* first() const { return records_.first(); }
    _SessionInformation* append() { return records_.append(); }
    _SessionInformation* release() { return records_.release(); }

    /// Moves every connection into the record that is kept for its session number as long as the process
    /// lives, and points the session there.
    void retain_connections();

private:
    RecordList<_SessionInformation> records_;
    bool connections_retained_ = false;
};

/// Fills an empty list. 0; -2 when there is no session; 12 when memory ran out.
int read_sessions(SessionList& sessions, unsigned int& count);

}  // namespace opinit
