// The PIM sync transport: requests attached to a context, responses taken
// from it, and the choice of the sync function by data type.
#include "runtime/pimsync.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "runtime/context.h"
#include "unicode/jchar_utf8.h"
#include "xml/parse.h"

namespace vyr {
namespace {

struct SyncFunction {
  const char *appDataType;
  const char *function;
};
// Data types whose sync functions the runtime knows.
constexpr SyncFunction kSyncFunctions[] = {
    {"Appointments", "beginAppointmentSync"},
    {"Tasks", "beginAppointmentSync"},
};

const char *syncFunctionFor(std::string_view appDataType) {
  for (const SyncFunction &known : kSyncFunctions)
    if (appDataType == known.appDataType) return known.function;
  return nullptr;
}

PimSyncOutcome refused(PimSyncOutcome::Status status, std::string error) {
  PimSyncOutcome outcome;
  outcome.status = status;
  outcome.error = std::move(error);
  return outcome;
}

// Detaches the request and the response on every path out of a run.
struct Attachment {
  LPBHVRCOM context;
  ~Attachment() {
    context->pimRequest.clear();
    context->pimRequest.shrink_to_fit();
    context->pimResponse.clear();
    context->pimResponseStored = false;
  }
};

}  // namespace

PimSyncOutcome runPimSync(LPBHVRCOM context, std::u16string_view request) {
  using Status = PimSyncOutcome::Status;
  if (context == nullptr) return refused(Status::BadRequest, "no context");
  try {
    xml::ParsedText parsed;
    std::string why;
    if (xml::parseText(request, xml::contextLimits(context), &parsed, &why) != XRCS_SUCCESS)
      return refused(Status::BadRequest, "the request is not accepted: " + why);
    const pugi::xml_node root = parsed.document.document_element();
    const pugi::xml_attribute username = root.attribute("username");
    if (!username) return refused(Status::BadRequest, "the request's root element has no \"username\"");
    const std::string user = setting(context, "user");
    if (user != username.value())
      return refused(Status::WrongUser, std::string("the request is for user '") + username.value() +
                                            "', but the context is signed on as '" + user + "'");
    const pugi::xml_attribute appDataType = root.attribute("appDataType");
    if (!appDataType) return refused(Status::BadRequest, "the request's root element has no \"appDataType\"");
    const std::string noFunction =
        std::string("no sync function is registered for appDataType '") + appDataType.value() + "'";
    const char *name = syncFunctionFor(appDataType.value());
    if (name == nullptr) return refused(Status::NoSyncFunction, noFunction);
    const BSFN_CATALOG_ENTRY *entry = findFunction(std::string_view(name));
    if (entry == nullptr) return refused(Status::NoSyncFunction, noFunction + " (" + name + " is not loaded)");

    Attachment attachment{context};
    context->pimRequest.assign(request);
    context->pimResponse.clear();
    context->pimResponseStored = false;
    std::vector<unsigned char> ds(std::max<size_t>(entry->lpTemplate ? entry->lpTemplate->nSize : 0, 1), 0);
    PimSyncOutcome outcome;
    outcome.code = callFunction(context, *entry, ds.data());
    outcome.status = Status::Ran;
    if (context->pimResponseStored) outcome.response = std::move(context->pimResponse);
    return outcome;
  } catch (const std::bad_alloc &) {
    return refused(Status::BadRequest, "out of memory");
  }
}

}  // namespace vyr

VYR_EXPORT const JCHAR *vyrPIMSync_RetrieveXML(LPBHVRCOM lpBhvrCom) {
  if (lpBhvrCom == nullptr || lpBhvrCom->pimRequest.empty()) return nullptr;
  return lpBhvrCom->pimRequest.c_str();
}

VYR_EXPORT ID vyrPIMSync_StoreXML(LPBHVRCOM lpBhvrCom, const JCHAR *lpszResponse) {
  if (lpBhvrCom == nullptr || lpszResponse == nullptr) return ER_ERROR;
  try {
    lpBhvrCom->pimResponse.assign(lpszResponse);
    lpBhvrCom->pimResponseStored = true;
    return ER_SUCCESS;
  } catch (const std::bad_alloc &) {
    return ER_ERROR;
  }
}
