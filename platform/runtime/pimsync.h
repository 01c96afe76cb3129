// The PIM sync transport as hosts drive it (the famoflas command, the HTTP
// service): one request document in, the sync function's response out.
#pragma once

#include <string>
#include <string_view>

#include "vyrtypes.h"

namespace vyr VYR_HOST_API {

struct PimSyncOutcome {
  enum class Status { Ran, WrongUser, NoSyncFunction, BadRequest } status = Status::BadRequest;
  ID code = ER_ERROR;       // the sync function's return code (Ran)
  std::u16string response;  // the response document it stored (Ran; empty when it stored none)
  std::string error;        // why, when not Ran
};

// Runs one request document on the context:
//  1. parses it with the context's XML limits (settings "xmlmaxchars",
//     "xmlmaxdepth") and the checks of xerceswrapper.h: BadRequest when refused;
//  2. reads "username" and "appDataType" from its root element: BadRequest when
//     either is missing; WrongUser when the username is not the context's
//     signed-on user (setting "user", compared exactly), before anything runs;
//  3. picks the sync business function by appDataType ("Appointments" and
//     "Tasks": beginAppointmentSync): NoSyncFunction when the data type has
//     none or it is not registered;
//  4. attaches the request to the context (vyrPIMSync_RetrieveXML hands it
//     out), calls the function on a zeroed data structure of its template, and
//     returns its code with the response it stored (vyrPIMSync_StoreXML).
// The request is detached again before returning. Nothing throws.
PimSyncOutcome runPimSync(LPBHVRCOM context, std::u16string_view request);

}  // namespace VYR_HOST_API
