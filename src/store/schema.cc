#include "store/schema.h"

#include <strings.h>

#include "store/database.h"

namespace psia {

bool holds_camera_tables(const query_result& table_names) {
  if (!table_names.ok()) return false;
  for (const char* wanted : kCameraTables) {
    bool found = false;
    for (int row = 0; row < table_names.rows() && !found; ++row) {
      const char* name = table_names.text(row, 0);
      found = name != nullptr && strcasecmp(name, wanted) == 0;
    }
    if (!found) return false;
  }
  return true;
}

}  // namespace psia
