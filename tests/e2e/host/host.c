/* A small C host of the installed engine: renders the first node of a project's first graph at a
   given size and writes it as a PNG. Usage: host PROJECT.xml OUT.png WIDTH HEIGHT (ASCII paths). */
#include <quorin/quorin.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static void widen(const char* in, qr_char* out, size_t cap) {
  size_t i = 0;
  for (; in[i] && i + 1 < cap; ++i) out[i] = (qr_char)(unsigned char)in[i];
  out[i] = 0;
}

int main(int argc, char** argv) {
  if (argc != 5) {
    fprintf(stderr, "usage: host PROJECT.xml OUT.png WIDTH HEIGHT\n");
    return 2;
  }
  qr_char path[4096], out[4096], message[256];
  widen(argv[1], path, 4096);
  widen(argv[2], out, 4096);
  uint32_t width = (uint32_t)atoi(argv[3]), height = (uint32_t)atoi(argv[4]);

  init();
  qr_project* project = project_create();
  if (!project_read_from_file_xml(project, path)) {
    fprintf(stderr, "cannot read %s\n", argv[1]);
    return 1;
  }
  qr_node* node = graph_node_at(project_graph_at(project, 0), 0);
  qr_pool4f* pool = pool4f_create(width, height, 16);
  qr_imgbuf4f* target = imgbuf4f_create(width, height);
  qr_renderctx* ctx = renderctx_create();
  renderctx_set_target_buf(ctx, target);
  renderctx_set_targetbuf_from_cache(ctx, 0);
  renderctx_set_pool(ctx, pool);
  renderctx_set_for_thumbnail(ctx, 0);
  renderctx_set_for_preview(ctx, 0);
  renderctx_set_preview_supersampling(ctx, 0);
  renderctx_set_is_anim(ctx, 0);
  renderctx_set_project(ctx, project);
  node_render(node, ctx);
  engine_saveimage_png(message, 256, out, target, 0);

  renderctx_delete(ctx);
  imgbuf4f_delete(target);
  pool4f_delete(pool);
  project_delete(project);
  cleanup();
  if (message[0]) {
    fprintf(stderr, "cannot write %s\n", argv[2]);
    return 1;
  }
  return 0;
}
