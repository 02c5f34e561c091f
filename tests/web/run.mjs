// Runs a program that was compiled to WebAssembly.
// usage: run.mjs PROGRAM
import { readFileSync } from "node:fs";
import { WASI } from "node:wasi";

const wasi = new WASI({ version: "preview1" });
const imports = { wasi_snapshot_preview1: wasi.wasiImport };
const { instance } = await WebAssembly.instantiate(readFileSync(process.argv[2]), imports);
wasi.start(instance);
