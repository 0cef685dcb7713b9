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
  return ZstdCompress(plain, level, 0, out, err);
}

bool ZstdCompress(std::string_view plain, int level, int min_match, std::string* out,
                  std::string* err) {
  // One context per thread, kept: making one costs more than a small block.
  thread_local std::unique_ptr<ZSTD_CCtx, ContextFree> context(ZSTD_createCCtx());
  if (context == nullptr) {
    *err = "cannot start ZSTD compression";
    return false;
  }
  const size_t start = out->size();
  out->resize(start + ZSTD_compressBound(plain.size()));
  size_t size;
  if (min_match == 0) {
    size = ZSTD_compressCCtx(context.get(), out->data() + start, out->size() - start,
                             plain.data(), plain.size(), level);
  } else {
    // Parameters stay set in the context: each call sets them all anew.
    ZSTD_CCtx_reset(context.get(), ZSTD_reset_parameters);
    size = ZSTD_CCtx_setParameter(context.get(), ZSTD_c_compressionLevel, level);
    if (!ZSTD_isError(size)) size = ZSTD_CCtx_setParameter(context.get(), ZSTD_c_minMatch, min_match);
    if (!ZSTD_isError(size)) {
      size = ZSTD_compress2(context.get(), out->data() + start, out->size() - start, plain.data(),
                            plain.size());
    }
  }
  if (ZSTD_isError(size)) {
    out->resize(start);
    *err = std::string("ZSTD compression failed: ") + ZSTD_getErrorName(size);
    return false;
  }
  out->resize(start + size);
  return true;
}

}  // namespace qorarc
