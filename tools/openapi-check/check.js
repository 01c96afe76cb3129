// Validates an OpenAPI document (a file, or - for stdin) against the OpenAPI
// 3.0 schema and the rules the schema cannot express (unique operation ids,
// resolvable references). Exit 0 when valid; 1 with the problems on stderr.
"use strict";
const fs = require("fs");
const SwaggerParser = require("@apidevtools/swagger-parser");

async function main() {
  const source = process.argv[2];
  if (!source) {
    console.error("usage: node check.js FILE|-");
    process.exit(2);
  }
  const text = fs.readFileSync(source === "-" ? 0 : source, "utf8");
  const document = JSON.parse(text);
  if (typeof document.openapi !== "string" || !document.openapi.startsWith("3.0.")) {
    console.error(`not an OpenAPI 3.0 document (openapi: ${JSON.stringify(document.openapi)})`);
    process.exit(1);
  }
  const api = await SwaggerParser.validate(document);
  console.log(`valid: ${api.info.title} ${api.info.version}, ${Object.keys(api.paths).length} paths`);
}

main().catch((error) => {
  console.error(error.message);
  process.exit(1);
});
