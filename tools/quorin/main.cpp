// quorin: renders project files to images and lists what projects and the node catalogue hold.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <new>
#include <string>

#include "cli.h"

int main(int argc, char** argv) {
  using namespace quorin_cli;
  CLI::App app{"Renders node-graph projects to images and lists what projects and the node catalogue hold.",
               "quorin"};
  app.get_formatter()->label("Usage", "usage");
  app.get_formatter()->column_width(28);
  app.set_version_flag("--version", "quorin " QUORIN_VERSION);
  app.require_subcommand(1);
  add_render_command(app);
  add_info_command(app);
  add_nodes_command(app);
  add_serve_command(app);
  app.footer("'quorin <command> --help' describes a command's options.");

  // The subcommand named on the line, for the hint after a mistake.
  std::string command;
  for (const CLI::App* sub : app.get_subcommands({}))
    if (argc > 1 && sub->check_name(argv[1])) command = argv[1];
  const std::string hint = "(see 'quorin --help'" + (command.empty() ? "" : " or 'quorin " + command + " --help'") + ")";
  try {
    if (command.empty() && argc > 1 && argv[1][0] != '-')
      throw usage_error("unknown command '" + std::string(argv[1]) + "'");
    app.parse(argc, argv);
    return 0;
  } catch (const CLI::Success& e) {  // --help, --version
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    if (argc == 1) {
      std::fputs(app.help().c_str(), stderr);
      return 2;
    }
    std::fprintf(stderr, "quorin: %s\n%s\n", e.what(), hint.c_str());
    return 2;
  } catch (const usage_error& e) {
    std::fprintf(stderr, "quorin: %s\n%s\n", e.what(), hint.c_str());
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
