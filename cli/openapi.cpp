#include "openapi.h"

#include <set>
#include <string>

#include "runtime/context.h"
#include "runtime/valuetext.h"

namespace famoflas {
namespace {

using Json = nlohmann::ordered_json;

Json ref(const std::string &schema) { return {{"$ref", "#/components/schemas/" + schema}}; }

Json errorResponse(const char *description) {
  return {{"description", description}, {"content", {{"application/json", {{"schema", ref("Error")}}}}}};
}

// A member as JSON carries it (the value texts of famoflas call).
Json memberSchema(const DSTMPL_MEMBER &member) {
  Json schema;
  switch (member.nKind) {
    case VYR_DSK_STRING:
      schema = {{"type", "string"}, {"maxLength", member.nWidth}};
      break;
    case VYR_DSK_CHAR:
      schema = {{"type", "string"}, {"maxLength", 1}};
      break;
    case VYR_DSK_MATH:
      schema = {{"type", "string"},
                {"format", "decimal"},
                {"description", "exact decimal with '.', e.g. -12.50 (a JSON number is accepted too)"}};
      break;
    case VYR_DSK_DATE:
      schema = {{"type", "string"}, {"format", "date"}, {"nullable", true}};
      break;
    case VYR_DSK_UTIME:
      schema = {{"type", "string"}, {"format", "date-time"}, {"nullable", true}};
      break;
    case VYR_DSK_INT:
      schema = {{"type", "integer"}, {"format", "int32"}};
      break;
    case VYR_DSK_ID:
      schema = {{"type", "integer"}, {"format", "int64"}, {"minimum", 0}, {"maximum", 4294967295u}};
      break;
    case VYR_DSK_SHORT:
      schema = {{"type", "integer"}, {"minimum", -32768}, {"maximum", 32767}};
      break;
    case VYR_DSK_BYTES:
      schema = {{"type", "string"}, {"pattern", "^([0-9a-fA-F]{2})*$"}, {"maxLength", 2 * member.nWidth}};
      break;
    default:  // pointers travel through, never set from JSON
      schema = {{"type", "string"}, {"nullable", true}, {"readOnly", true}};
      break;
  }
  const char *kind = vyr::valueKindName(member.nKind);
  schema["x-famoflas-kind"] = kind ? kind : "unknown";
  schema["x-famoflas-width"] = member.nWidth;
  return schema;
}

Json dataStructureSchema(const DSTMPL &tmpl) {
  Json properties = Json::object();
  for (uint32_t i = 0; i < tmpl.nMembers; ++i)
    if (tmpl.lpMembers[i].szName != nullptr) properties[tmpl.lpMembers[i].szName] = memberSchema(tmpl.lpMembers[i]);
  return {{"type", "object"},
          {"description", std::string("data structure ") + tmpl.szName + ", members in declaration order"},
          {"additionalProperties", false},
          {"properties", properties}};
}

Json resultSchema(const Json &ds) {
  return {{"type", "object"},
          {"required", {"function", "return", "ds", "errors", "trace"}},
          {"properties",
           {{"function", {{"type", "string"}}},
            {"return", {{"type", "integer"}, {"description", "0 success, 1 warning, 2 error"}}},
            {"ds", ds},
            {"errors", {{"type", "array"}, {"items", ref("CallError")}}},
            {"trace", {{"type", "array"}, {"items", {{"type", "string"}}}}},
            {"report", {{"type", "object"}, {"description", "report state after the call (docs/report-state.md)"}}}}}};
}

Json fixedSchemas() {
  Json schemas;
  schemas["Error"] = {{"type", "object"}, {"required", {"error"}}, {"properties", {{"error", {{"type", "string"}}}}}};
  schemas["CallError"] = {{"type", "object"},
                          {"properties",
                           {{"item", {{"type", "integer"}}},
                            {"id", {{"type", "string"}}},
                            {"text", {{"type", "string"}}},
                            {"source", {{"type", "string"}}},
                            {"line", {{"type", "integer"}}}}}};
  schemas["Function"] = {{"type", "object"},
                         {"properties", {{"function", {{"type", "string"}}}, {"source", {{"type", "string"}}}}}};
  schemas["Description"] = {{"type", "object"},
                            {"properties",
                             {{"function", {{"type", "string"}}},
                              {"source", {{"type", "string"}}},
                              {"members",
                               {{"type", "array"},
                                {"items",
                                 {{"type", "object"},
                                  {"properties",
                                   {{"name", {{"type", "string"}}},
                                    {"kind", {{"type", "string"}}},
                                    {"width", {{"type", "integer"}}},
                                    {"offset", {{"type", "integer"}}}}}}}}}}}};
  return schemas;
}

Json jsonContent(const Json &schema) { return {{"application/json", {{"schema", schema}}}}; }

// The operations that do not depend on the catalogue.
void addServicePaths(Json &paths) {
  paths["/v1/health"]["get"] = {{"operationId", "health"},
                                {"summary", "whether the service answers (no authentication)"},
                                {"security", Json::array()},
                                {"responses", {{"200", {{"description", "it does"}}}}}};
  paths["/v1/functions"]["get"] = {{"operationId", "listFunctions"},
                                   {"summary", "every business function and its source object"},
                                   {"responses",
                                    {{"200",
                                      {{"description", "the functions by name"},
                                       {"content", jsonContent({{"type", "array"}, {"items", ref("Function")}})}}},
                                     {"401", errorResponse("unknown user or wrong password")}}}};
  paths["/v1/functions/{name}"]["get"] = {
      {"operationId", "describeFunction"},
      {"summary", "the members of a function's data structure"},
      {"parameters", {{{"name", "name"}, {"in", "path"}, {"required", true}, {"schema", {{"type", "string"}}}}}},
      {"responses",
       {{"200", {{"description", "the description"}, {"content", jsonContent(ref("Description"))}}},
        {"401", errorResponse("unknown user or wrong password")},
        {"404", errorResponse("no such function")}}}};
  paths["/v1/batch"]["post"] = {
      {"operationId", "batch"},
      {"summary", "JSON lines of calls {\"function\", \"ds\", \"report\"}, one result line each"},
      {"requestBody",
       {{"required", true}, {"content", {{"application/x-ndjson", {{"schema", {{"type", "string"}}}}}}}}},
      {"responses",
       {{"200",
         {{"description", "one line per call: its result, or {\"line\", \"function\", \"error\"}"},
          {"content", {{"application/x-ndjson", {{"schema", {{"type", "string"}}}}}}}}},
        {"401", errorResponse("unknown user or wrong password")},
        {"413", errorResponse("body over the limit")},
        {"415", errorResponse("not JSON lines")}}}};
  paths["/v1/pim"]["post"] = {
      {"operationId", "pimSync"},
      {"summary", "a PIM sync request document of the signed-on user; the response document back"},
      {"requestBody", {{"required", true}, {"content", {{"application/xml", {{"schema", {{"type", "string"}}}}}}}}},
      {"responses",
       {{"200",
         {{"description", "the response document"},
          {"content", {{"application/xml", {{"schema", {{"type", "string"}}}}}}}}},
        {"400", errorResponse("not a well-formed request document")},
        {"401", errorResponse("unknown user or wrong password")},
        {"403", errorResponse("the document names another user; nothing ran")},
        {"404", errorResponse("no sync function for the document's appDataType")},
        {"413", errorResponse("body over the limit")},
        {"415", errorResponse("not application/xml")}}}};
  paths["/v1/openapi.json"]["get"] = {{"operationId", "openapi"},
                                      {"summary", "this document"},
                                      {"responses", {{"200", {{"description", "the document"}}}}}};
  paths["/metrics"]["get"] = {
      {"operationId", "metrics"},
      {"summary", "counters in Prometheus's text format"},
      {"responses",
       {{"200",
         {{"description", "the counters"}, {"content", {{"text/plain", {{"schema", {{"type", "string"}}}}}}}}}}}};
}

}  // namespace

Json openApiDocument() {
  Json document;
  document["openapi"] = "3.0.3";
  document["info"] = {{"title", "FAMOFLAS business functions"},
                      {"version", FAMOFLAS_VERSION},
                      {"description",
                       "Each business function runs on a fresh context signed on as the authenticated user, with "
                       "that user's settings. HTTP 200 whatever the function returned: see \"return\"."}};
  Json schemas = fixedSchemas();
  Json paths = Json::object();
  addServicePaths(paths);
  for (const BSFN_CATALOG_ENTRY *entry : vyr::allFunctions()) {
    const std::string name = entry->szFunction;
    Json ds = Json{{"type", "object"}, {"additionalProperties", false}, {"properties", Json::object()}};
    if (const DSTMPL *tmpl = entry->lpTemplate; tmpl != nullptr && tmpl->szName != nullptr) {
      const std::string schemaName = tmpl->szName;
      if (!schemas.contains(schemaName)) schemas[schemaName] = dataStructureSchema(*tmpl);
      ds = ref(schemaName);
    }
    Json request = {{"type", "object"},
                    {"additionalProperties", false},
                    {"properties", {{"ds", ds}, {"report", {{"type", "object"}}}}}};
    paths["/v1/call/" + name]["post"] = {
        {"operationId", name},
        {"summary", name + " (source object " + (entry->szSource ? entry->szSource : "") + ")"},
        {"tags", {entry->szSource ? entry->szSource : "functions"}},
        {"requestBody", {{"required", true}, {"content", jsonContent(request)}}},
        {"responses",
         {{"200", {{"description", "the function ran"}, {"content", jsonContent(resultSchema(ds))}}},
          {"400", errorResponse("malformed JSON, an unknown member or a value that does not fit")},
          {"401", errorResponse("unknown user or wrong password")},
          {"413", errorResponse("body over the limit")},
          {"415", errorResponse("not application/json")},
          {"429", errorResponse("too many failed logins for this user name")}}}};
  }
  document["paths"] = std::move(paths);
  document["components"] = {{"schemas", std::move(schemas)},
                            {"securitySchemes", {{"basic", {{"type", "http"}, {"scheme", "basic"}}}}}};
  document["security"] = Json::array({{{"basic", Json::array()}}});
  return document;
}

}  // namespace famoflas
