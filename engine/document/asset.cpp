// (Placeholder: destruction only.)
#include "document/asset.h"
#include "core/imgbuf.h"

namespace quorin_engine {

asset::~asset() {
  imgbuf4f_delete(image);
  delete[] data;
}

assets::~assets() {
  for (asset* a : items) delete a;
}

}  // namespace quorin_engine
