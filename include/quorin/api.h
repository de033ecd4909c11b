/* Quorin engine: common definitions of the exported C interface. */
#ifndef QUORIN_API_H
#define QUORIN_API_H

#include <stdint.h>
#include <stddef.h>
#if defined(__cplusplus)
#include <cstdint>
#endif

#if defined(__cplusplus)
#define QUORIN_EXTERN_C extern "C"
#define QUORIN_BEGIN_DECLS extern "C" {
#define QUORIN_END_DECLS }
#else
#define QUORIN_EXTERN_C
#define QUORIN_BEGIN_DECLS
#define QUORIN_END_DECLS
#endif

#define QUORIN_API __attribute__((visibility("default")))

/* Text crosses the interface as zero-terminated UTF-16. */
#if !defined(__cplusplus)
#include <uchar.h>
#endif
typedef char16_t qr_char;

/* Opaque handles. Inside the engine they name the engine's own types. */
#if defined(__cplusplus) && defined(QUORIN_ENGINE_INTERNAL)
namespace quorin_engine {
struct imgbuf4f;
struct renderbuffer_pool_t;
struct renderctx;
struct shadetree_node_t;
struct curve;
struct graph;
struct project;
struct asset;
struct assets;
}
typedef quorin_engine::imgbuf4f qr_imgbuf4f;
typedef quorin_engine::renderbuffer_pool_t qr_pool4f;
typedef quorin_engine::renderctx qr_renderctx;
typedef quorin_engine::shadetree_node_t qr_node;
typedef quorin_engine::curve qr_curve;
typedef quorin_engine::graph qr_graph;
typedef quorin_engine::project qr_project;
typedef quorin_engine::asset qr_asset;
typedef quorin_engine::assets qr_assets;
#else
typedef struct qr_imgbuf4f qr_imgbuf4f;
typedef struct qr_pool4f qr_pool4f;
typedef struct qr_renderctx qr_renderctx;
typedef struct qr_node qr_node;
typedef struct qr_curve qr_curve;
typedef struct qr_graph qr_graph;
typedef struct qr_project qr_project;
typedef struct qr_asset qr_asset;
typedef struct qr_assets qr_assets;
#endif

#endif
