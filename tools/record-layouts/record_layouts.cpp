// Writes vyrtables.h, the packed record layouts of every catalogued table, so
// that records written in C are checked against the catalogue when they are
// compiled (see vyrrecord.h). Run by the build; a catalogue with declaration
// mistakes stops the build here.
//   record_layouts OUTPUT
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "db/catalog.h"

namespace {

using namespace vyr::db;

std::string ascii(std::u16string_view text) {
  std::string out;
  for (char16_t c : text) out += static_cast<char>(c);
  return out;
}

// Aliases become parts of C identifiers.
bool identifierPart(std::u16string_view text) {
  if (text.empty()) return false;
  for (char16_t c : text)
    if (!((c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9') || c == u'_')) return false;
  return true;
}

std::string columnType(const ColumnDef &column, const std::string &name) {
  switch (column.kind) {
    case ColumnKind::String:
      return "typedef JCHAR " + name + "[" + std::to_string(column.width + 1) + "];";
    case ColumnKind::Char:
      return "typedef JCHAR " + name + ";";
    case ColumnKind::Number:
      return "typedef MATH_NUMERIC " + name + ";";
    case ColumnKind::Integer:
      return "typedef int32_t " + name + ";";
    case ColumnKind::Date:
      return "typedef VYRDATE " + name + ";";
    case ColumnKind::UTime:
      return "typedef UTIME " + name + ";";
    case ColumnKind::Binary:
      return "typedef void *" + name + ";";
  }
  return {};
}

bool describe(const TableDef &table, std::ostream &out) {
  if (!identifierPart(table.name)) {
    std::cerr << "record_layouts: table name '" << ascii(table.name) << "' cannot name C identifiers\n";
    return false;
  }
  const std::string t = ascii(table.name);
  out << "\n/* " << t << ": " << table.description << " */\n";
  size_t offset = 0;
  for (const ColumnDef &column : table.columns) {
    if (!identifierPart(column.alias)) {
      std::cerr << "record_layouts: column '" << ascii(column.alias) << "' of " << t << " cannot name C identifiers\n";
      return false;
    }
    const std::string c = ascii(column.alias);
    out << columnType(column, "VYRCOL_" + t + "_" + c) << "\n";
    out << "#define VYROFF_" << t << "_" << c << " " << offset << "\n";
    offset += recordSize(column);
  }
  out << "#define VYRROW_" << t << "_SIZE " << offset << "\n";
  for (const IndexDef &index : table.indexes) {
    size_t size = 0;
    for (size_t column : index.columns) size += recordSize(table.columns[column]);
    out << "#define VYRKEY_" << t << "_" << index.id << "_SIZE " << size << "\n";
  }
  return true;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 2) {
    std::cerr << "usage: record_layouts OUTPUT\n";
    return 2;
  }
  const std::vector<std::string> problems = catalogProblems();
  for (const std::string &problem : problems) std::cerr << "table catalogue: " << problem << "\n";
  if (!problems.empty()) return 1;

  std::ostringstream text;
  text << "/*\n"
          " * vyrtables.h - packed record layouts of the catalogued tables, written by\n"
          " * the build from the table catalogue (the .cpp files of schema/); edit the catalogue, not\n"
          " * this file. For table T, column C and index n:\n"
          " *   VYRCOL_T_C       the column's type in a packed record\n"
          " *   VYROFF_T_C       its offset in a row record of every column\n"
          " *   VYRROW_T_SIZE    size of that row record\n"
          " *   VYRKEY_T_n_SIZE  size of the key record of index n, every key column\n"
          " * vyrrecord.h checks hand-written records against them.\n"
          " */\n"
          "#ifndef VYRTABLES_H\n"
          "#define VYRTABLES_H\n\n"
          "#include \"vyrtypes.h\"\n";
  for (const TableDef *table : allTables())
    if (!describe(*table, text)) return 1;
  text << "\n#endif /* VYRTABLES_H */\n";

  // Rewritten only when it changes, so that an unrelated catalogue edit
  // does not recompile every business function.
  const std::string wanted = text.str();
  {
    std::ifstream existing(argv[1], std::ios::binary);
    std::ostringstream current;
    current << existing.rdbuf();
    if (existing && current.str() == wanted) return 0;
  }
  std::ofstream out(argv[1], std::ios::binary | std::ios::trunc);
  out << wanted;
  out.close();
  if (!out) {
    std::cerr << "record_layouts: cannot write " << argv[1] << "\n";
    return 1;
  }
  return 0;
}
