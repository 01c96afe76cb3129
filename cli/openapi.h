// The OpenAPI 3.0 document of the service, generated from the catalogue: one
// operation per business function, its data structure as a schema whose
// properties carry each member's kind and width.
#pragma once

#include <nlohmann/json.hpp>

namespace famoflas {

// The document for every function registered now.
nlohmann::ordered_json openApiDocument();

}  // namespace famoflas
