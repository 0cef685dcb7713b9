#include "base/zstd_compress.h"

#include <zstd.h>

#include <memory>

namespace qorarc {

static_assert(kZstdDefaultLevel == ZSTD_CLEVEL_DEFAULT);

namespace {

struct ContextFree {
  void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
};

}  // namespace

bool ZstdCompress(std::string_view plain, int level, std::string* out, std::string* err) {
  // One context per thread, kept: making one costs more than a small block.
  thread_local std::unique_ptr<ZSTD_CCtx, ContextFree> context(ZSTD_createCCtx());
  if (context == nullptr) {
    *err = "cannot start ZSTD compression";
    return false;
  }
  const size_t start = out->size();
  out->resize(start + ZSTD_compressBound(plain.size()));
  const size_t size = ZSTD_compressCCtx(context.get(), out->data() + start, out->size() - start,
                                        plain.data(), plain.size(), level);
  if (ZSTD_isError(size)) {
    out->resize(start);
    *err = std::string("ZSTD compression failed: ") + ZSTD_getErrorName(size);
    return false;
  }
  out->resize(start + size);
  return true;
}

}  // namespace qorarc
