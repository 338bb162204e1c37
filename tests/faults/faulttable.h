#pragma once

#include "tests/faults/stage.h"

/// What a request comes to under a fault.
struct Expected
{
    enum Kind
    {
        Right,     ///< the answer that it gets without the fault
        Records,   ///< a success with these records
        AnyValue,  ///< a success, whatever its value
        NotParsed, ///< the error for a response with status 200 that is not JSON
        Failed,    ///< the error for any other response, and for a missing one
    };
    Kind kind = Right;
    int code = 0;         ///< HTTP status of a failure; 0 where there was no answer
    QString message = {}; ///< the service's message; if empty, the module uses its own text
    bool bodyParses = {}; ///< the body of a failure was JSON
    Json records = Json::array();
    int count = 0;

    static Expected noAnswer() { return {Failed, 0, {}, false, Json::array(), 0}; }
    /// A failure whose body is JSON.
    static Expected refused(int code, const char* message)
    {
        return {Failed, code, QString::fromUtf8(message), true, Json::array(), 0};
    }
    /// A failure whose body is none.
    static Expected failed(int code) { return {Failed, code, {}, false, Json::array(), 0}; }
    /// A success with what an empty record comes to.
    static Expected empty(const Endpoint& endpoint, const Outcome& right);
};

/// One thing that goes wrong, as the sandbox makes it.
struct Fault
{
    QByteArray name;
    Json control; ///< the fault for the sandbox
    Expected expected;
};

/// What can go wrong with any answer, whatever it is about. `right`: the outcome without a fault;
/// `elsewhere`: the address of another server; `refusingPort`: one on which nobody listens.
QList<Fault> answerFaults(const Endpoint& endpoint, const Outcome& right, const QString& elsewhere,
                          int refusingPort);

/// Answers with status 200 that are JSON and not what they should be: each place that the module reads has a
/// wrong type, is null or is missing. `right` gives what the full answer without a fault comes to.
QList<Fault> shapeFaults(const Endpoint& endpoint, const Outcome& right);
/// The full answer to a call, with a value at every place that the module reads.
Json fullAnswer(const Endpoint& endpoint);

/// Where the outcome differs from what was expected, as a sentence; empty where it does not. `right`: the
/// outcome without a fault.
QString difference(const Endpoint& endpoint, const Expected& expected, const Outcome& outcome,
                   const Outcome& right);
