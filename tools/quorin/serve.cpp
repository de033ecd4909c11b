// quorin serve: the browser editor's page and its JSON API over one project.
#include <CLI/CLI.hpp>
#include <httplib.h>
#include <signal.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include "cli.h"
#include "serve_session.h"

#ifndef QUORIN_EDITOR_DIR
#define QUORIN_EDITOR_DIR ""
#endif

namespace quorin_cli {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

struct serve_options {
  std::string project = "untitled.xml";
  uint32_t port = 8600;
  std::string bind = "127.0.0.1";
  std::string editor = QUORIN_EDITOR_DIR;
  uint32_t max_body = 64u << 20;
  bool verbose = false;
};

void send_json(httplib::Response& res, const json& body, int status = 200) {
  res.status = status;
  res.set_content(body.dump(), "application/json");
}

void send_error(httplib::Response& res, int status, const std::string& message) {
  send_json(res, {{"error", message}}, status);
}

json body_json(const httplib::Request& req) {
  if (req.body.empty()) return json::object();
  json body = json::parse(req.body, nullptr, false);
  if (body.is_discarded() || !body.is_object()) throw api_error(400, "the request body is not a JSON object");
  return body;
}

uint32_t path_index(const httplib::Request& req, std::size_t i) {
  uint32_t v = 0;
  if (!parse_uint(req.matches[i].str(), v)) throw api_error(404, "no such index: " + req.matches[i].str());
  return v;
}

class editor_server {
 public:
  editor_server(const serve_options& o) : options_(o) {
    fs::path path = fs::absolute(o.project);
    std::error_code ec;
    bool exists = fs::exists(path, ec);
    if (!exists && !fs::is_directory(path.parent_path(), ec))
      throw run_error("no folder " + path.parent_path().string() + " for the project");
    engine_.call([&] {
      session_ = std::make_unique<engine_session>(o.verbose);
      engine_set_render_threads(0);
      model_ = std::make_unique<editor_model>(path, exists);
      catalogue_ = editor_model::catalogue_json().dump();
    });
    routes();
  }

  ~editor_server() {
    engine_.call([&] {
      model_.reset();
      session_.reset();
    });
  }

  httplib::Server& http() { return http_; }

 private:
  // Runs a handler; a refusal or an exception becomes an error answer with its message.
  template <class F>
  static void answer(httplib::Response& res, F f) {
    try {
      f();
    } catch (const api_error& e) {
      send_error(res, e.status, e.what());
    } catch (const std::exception& e) {
      send_error(res, 500, std::string("the engine stopped with an exception: ") + e.what());
    }
  }

  // A handler that answers with JSON.
  template <class F>
  httplib::Server::Handler api(F f) {
    return [f](const httplib::Request& req, httplib::Response& res) {
      answer(res, [&] { send_json(res, f(req)); });
    };
  }

  template <class F>
  json on_engine(F f) {
    return engine_.call([&] { return f(*model_); });
  }

  void render_route(const char* pattern, bool thumbnail) {
    http_.Get(pattern, [this, thumbnail](const httplib::Request& req, httplib::Response& res) {
      answer(res, [&] {
        render_request r;
        r.graph = path_index(req, 1);
        r.node = path_index(req, 2);
        r.thumbnail = thumbnail;
        r.key = thumbnail ? "thumbnail/" + req.matches[1].str() + "/" + req.matches[2].str() : "preview";
        uint64_t ticket = stale_.begin(r.key);
        std::string png = engine_.call([&] {
          if (stale_.is_stale(r.key, ticket)) throw api_error(409, "a newer render was asked for");
          return model_->render_png(r);
        });
        res.set_header("Cache-Control", "no-store");
        res.set_content(png, "image/png");
      });
    });
  }

  void routes() {
    http_.set_payload_max_length(options_.max_body);
    // Answers that httplib makes by itself (a body too large, a bad request line) get a message too.
    http_.set_error_handler([this](const httplib::Request&, httplib::Response& res) {
      if (!res.body.empty()) return;
      if (res.status == 413)
        send_error(res, 413, "the request body is larger than " + std::to_string(options_.max_body) + " bytes");
      else if (res.status == 404)
        send_error(res, 404, "no such address");
      else
        send_error(res, res.status, "the request could not be handled (status " + std::to_string(res.status) + ")");
    });
    std::error_code ec;
    if (!options_.editor.empty() && fs::exists(fs::path(options_.editor) / "index.html", ec))
      http_.set_mount_point("/", options_.editor);
    else
      http_.Get("/", [this](const httplib::Request&, httplib::Response& res) {
        res.set_content("The editor page is not built (no index.html in '" + options_.editor +
                            "'); the API is at /api/project.",
                        "text/plain");
      });

    http_.Get("/api/catalogue", [this](const httplib::Request&, httplib::Response& res) {
      res.set_content(catalogue_, "application/json");
    });
    http_.Get("/api/project", api([this](const httplib::Request&) {
      return on_engine([](editor_model& m) { return m.project_json(); });
    }));
    http_.Post("/api/graphs", api([this](const httplib::Request& req) {
      json b = body_json(req);
      return on_engine([&](editor_model& m) { return m.add_graph(b); });
    }));
    http_.Get(R"(/api/graphs/(\d+))", api([this](const httplib::Request& req) {
      uint32_t g = path_index(req, 1);
      return on_engine([&](editor_model& m) { return m.graph_json(g); });
    }));
    http_.Post(R"(/api/graphs/(\d+)/nodes)", api([this](const httplib::Request& req) {
      uint32_t g = path_index(req, 1);
      json b = body_json(req);
      return on_engine([&](editor_model& m) { return m.add_node(g, b); });
    }));
    http_.Delete(R"(/api/graphs/(\d+)/nodes/(\d+))", api([this](const httplib::Request& req) {
      uint32_t g = path_index(req, 1), n = path_index(req, 2);
      return on_engine([&](editor_model& m) { return m.delete_node(g, n); });
    }));
    http_.Post(R"(/api/graphs/(\d+)/nodes/(\d+)/(duplicate|move|name|params))",
               api([this](const httplib::Request& req) {
                 uint32_t g = path_index(req, 1), n = path_index(req, 2);
                 std::string what = req.matches[3].str();
                 json b = body_json(req);
                 return on_engine([&](editor_model& m) {
                   if (what == "duplicate") return m.duplicate_node(g, n);
                   if (what == "move") return m.move_node(g, n, b);
                   if (what == "name") return m.rename_node(g, n, b);
                   return m.set_params(g, n, b);
                 });
               }));
    http_.Post(R"(/api/graphs/(\d+)/(connect|disconnect))", api([this](const httplib::Request& req) {
      uint32_t g = path_index(req, 1);
      bool wire = req.matches[2].str() == "connect";
      json b = body_json(req);
      return on_engine([&](editor_model& m) { return wire ? m.connect(g, b) : m.disconnect(g, b); });
    }));
    render_route(R"(/api/graphs/(\d+)/nodes/(\d+)/preview\.png)", false);
    render_route(R"(/api/graphs/(\d+)/nodes/(\d+)/thumbnail\.png)", true);
    http_.Post("/api/assets", api([this](const httplib::Request& req) {
      std::string name = req.get_param_value("name");
      fs::path file(name);
      if (name.empty() || file.filename() != file) throw api_error(400, "give the asset a plain name: ?name=NAME");
      return on_engine([&](editor_model& m) { return m.add_asset(name, req.body); });
    }));
    http_.Post(R"(/api/(undo|redo|time|save))", api([this](const httplib::Request& req) {
      std::string what = req.matches[1].str();
      json b = body_json(req);
      return on_engine([&](editor_model& m) {
        if (what == "undo") return m.undo();
        if (what == "redo") return m.redo();
        if (what == "time") return m.set_time(b);
        return m.save(b);
      });
    }));
  }

  serve_options options_;
  engine_thread engine_;
  std::unique_ptr<engine_session> session_;
  std::unique_ptr<editor_model> model_;
  std::string catalogue_;
  stale_tracker stale_;
  httplib::Server http_;
};

}  // namespace

namespace {

void serve(const serve_options& o) {
  // SIGINT and SIGTERM end the server cleanly: one thread waits for them, the others never see them.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGINT);
  sigaddset(&stop_signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);

  editor_server server(o);
  httplib::Server& http = server.http();
  int port = static_cast<int>(o.port);
  if (port == 0) port = http.bind_to_any_port(o.bind.c_str());
  else if (!http.bind_to_port(o.bind.c_str(), port)) port = -1;
  if (port <= 0) throw run_error("cannot listen on " + o.bind + ":" + std::to_string(o.port));
  std::string host = o.bind.find(':') != std::string::npos ? "[" + o.bind + "]" : o.bind;
  std::printf("quorin: editing %s at http://%s:%d/\n", fs::absolute(o.project).string().c_str(), host.c_str(), port);
  std::fflush(stdout);

  std::thread waiter([&] {
    int sig = 0;
    sigwait(&stop_signals, &sig);
    http.stop();
  });
  http.listen_after_bind();
  pthread_kill(waiter.native_handle(), SIGTERM);
  waiter.join();
}

}  // namespace

void add_serve_command(CLI::App& app) {
  auto o = std::make_shared<serve_options>();
  CLI::App* cmd = app.add_subcommand("serve", "Serves a node-graph editor for the project in the browser, with a live preview.");
  cmd->footer("A project file that does not exist yet is started empty and written there on save (default:\n"
              "untitled.xml in the current folder). The editor reads and writes only that file and files\n"
              "in its folder.");
  cmd->add_option("project", o->project, "the project file (default untitled.xml)")->type_name("PROJECT.xml");
  cmd->add_option("--port", o->port, "the port to listen on (default 8600; 0 picks a free one)")
      ->check(CLI::Range(0u, 65535u))->type_name("N");
  cmd->add_option("--bind", o->bind, "the address to listen on (default 127.0.0.1, this machine only)")
      ->type_name("ADDRESS");
  cmd->add_option("--editor", o->editor, "the folder of the built editor page (default: the build's)")
      ->type_name("DIR");
  cmd->add_option("--max-body", o->max_body, "the largest request body accepted (default 64 MiB)")
      ->check(CLI::PositiveNumber)->type_name("BYTES");
  cmd->add_flag("--verbose", o->verbose, "show the engine's debug messages on standard error");
  cmd->callback([o] {
    if (fs::path(o->project).extension() != ".xml") throw usage_error("a project file name ends in .xml");
    serve(*o);
  });
}

}  // namespace quorin_cli
