// quorin: renders project files to PNG and lists what projects and the node catalogue hold.
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "cli.h"

namespace {

const char* const usage_text =
    "usage: quorin <command> [options]\n"
    "\n"
    "commands:\n"
    "  render PROJECT.xml -o OUT.png   render a node of a project to a PNG file\n"
    "  info PROJECT.xml                show a project's settings, graphs, nodes and assets\n"
    "  nodes [TYPE]                    list the node types, or describe one\n"
    "  serve [PROJECT.xml]             edit a project in the browser\n"
    "\n"
    "'quorin <command> --help' describes a command's options.\n";

}  // namespace

int main(int argc, char** argv) {
  using namespace quorin_cli;
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) {
    std::fputs(usage_text, stderr);
    return 2;
  }
  std::string command = args.front();
  args.erase(args.begin());
  try {
    if (command == "render") return cmd_render(args);
    if (command == "info") return cmd_info(args);
    if (command == "nodes") return cmd_nodes(args);
    if (command == "serve") return cmd_serve(args);
    if (command == "--help" || command == "-h" || command == "help") {
      std::fputs(usage_text, stdout);
      return 0;
    }
    throw usage_error("unknown command '" + command + "'");
  } catch (const usage_error& e) {
    std::fprintf(stderr, "quorin: %s\n(see 'quorin --help' or 'quorin %s --help')\n", e.what(),
                 command.c_str());
    return 2;
  } catch (const run_error& e) {
    std::fprintf(stderr, "quorin: error: %s\n", e.what());
    return 1;
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "quorin: error: out of memory\n");
    return 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "quorin: error: the engine stopped with an exception: %s\n", e.what());
    return 1;
  }
}
