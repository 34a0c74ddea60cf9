// How a function of this responder says what became of it. One convention
// for every layer:
//
//   bool              the caller only asks whether it worked (a row stored,
//                     a file read, a body parsed);
//   std::optional<T>  a value or nothing (an address probed, a length
//                     parsed): no sentinel value stands for "none";
//   enum class        the caller acts on the reason (control_result: what
//                     the control daemon made of a command);
//   ResponseStatus    codes (status_code, kStatus*) only where an Answer is
//                     made: a handler's return, Answer itself, and
//                     answer::status(control_result), the one mapping of a
//                     control exchange to its code.
//
// No function answers with an int meaning 0/-1, 1/0 or a table of negative
// fault codes.
#ifndef PSIA_UTIL_RESULT_H
#define PSIA_UTIL_RESULT_H

#include <optional>

#endif  // PSIA_UTIL_RESULT_H
