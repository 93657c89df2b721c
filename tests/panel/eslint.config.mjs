// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel

// The rules for the front panel's page and its tests, which ./test panel checks.
import js from "@eslint/js";

// Only the names in use. A browser also has name, event, status and find: with those allowed, a use
// of one that the code forgot to declare would pass.
const readonly = (...names) => Object.fromEntries(names.map((name) => [name, "readonly"]));
const MARKUP = "/^(innerHTML|outerHTML|insertAdjacentHTML)$/";
const both = readonly("document", "setTimeout", "URL");

export default [
  { linterOptions: { reportUnusedDisableDirectives: "error" } },
  js.configs.recommended,
  {
    rules: {
      // The device's state is text, and == converts: an empty text equals 0.
      eqeqeq: "error",
      // A variable that nothing assigns again says so, and none is visible above its line.
      "no-var": "error",
      "prefer-const": "error",
      // A use above the declaration stops a module at its start. Functions may follow their use.
      "no-use-before-define": ["error", { functions: false, variables: false }],
      // One name with two meanings in a function hides the outer one.
      "no-shadow": "error",
      // A caller that reads the result gets undefined on the path that was forgotten.
      "consistent-return": "error",
      "array-callback-return": "error",
      // A loop that waits for what its body never changes does not end.
      "no-unmodified-loop-condition": "error",
      "no-unreachable-loop": "error",
      // "${name}" between plain quotes is shown as it stands.
      "no-template-curly-in-string": "error",
      // The notice shows the message of an error; a value that is not an Error has none.
      "no-throw-literal": "error",
      "prefer-promise-reject-errors": "error",
      // The page's policy forbids evaluation of text, so that these fail in the browser.
      "no-eval": "error",
      "no-implied-eval": "error",
      "no-new-func": "error",
    },
  },
  {
    files: ["virtual-device/panel/*.js"],
    // Text of the device and of dropped files must not become markup.
    rules: { "no-restricted-syntax": ["error", `MemberExpression[property.name=${MARKUP}]`] },
    languageOptions: {
      globals: {
        ...both,
        ...readonly("addEventListener", "clearTimeout", "setInterval", "createImageBitmap"),
        ...readonly("localStorage", "location", "performance"),
        ...readonly("Blob", "WebSocket", "XMLHttpRequest"),
      },
    },
  },
  {
    files: ["tests/panel/*.mjs"],
    languageOptions: {
      // Those of Node, and those of the page for functions that run there.
      globals: { ...both, ...readonly("Buffer", "process", "DataTransfer", "File", "atob") },
    },
  },
];
