// The wish that a console program ends: Ctrl-C, a closed console, the end of the session or another
// program's polite request. It is waited for, so that the program can end in order.
//
// Threads: made on the first thread, before any other is started; `wait` from that thread.
#pragma once

namespace elvantris::operator_control {

class end_wish {
public:
    // From here on no such wish ends the process by itself. What the process was started to ignore
    // stays ignored.
    end_wish();

    void wait() const;
};

} // namespace elvantris::operator_control
