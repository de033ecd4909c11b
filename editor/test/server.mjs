// Starts `quorin serve` on a free port for a test and stops it afterwards.
import { spawn } from "node:child_process";
import { mkdtempSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";

export function tempFolder(prefix = "quorin-editor-") {
  return mkdtempSync(join(tmpdir(), prefix));
}

export async function startServer(quorin, project, extra = []) {
  const child = spawn(quorin, ["serve", project, "--port", "0", ...extra], { stdio: ["ignore", "pipe", "pipe"] });
  // A failing test must not leave its server behind.
  process.on("exit", () => child.kill("SIGKILL"));
  let stderr = "";
  child.stderr.on("data", (d) => (stderr += d));
  const url = await new Promise((resolve, reject) => {
    let out = "";
    child.stdout.on("data", (d) => {
      out += d;
      const m = out.match(/at (http:\/\/\S+\/)/);
      if (m) resolve(m[1]);
    });
    child.on("exit", (code) => reject(new Error(`quorin serve exited with ${code}: ${stderr}`)));
  });
  return {
    url,
    stop: () =>
      new Promise((resolve) => {
        child.on("exit", resolve);
        child.kill("SIGTERM");
      }),
  };
}
