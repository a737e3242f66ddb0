"use strict";
// The page reads without this: it filters, and opens what a link or the printer leads to.
(() => {
  const filter = document.getElementById("filter");
  const input = filter.querySelector("input");
  const said = filter.querySelector("output");
  const parts = [...document.querySelectorAll(".group, .server, .matrix tbody tr")];
  let texts = null;

  const show = () => {
    texts ??= parts.map((part) => part.textContent.toLowerCase());
    const words = input.value.toLowerCase().split(/\s+/).filter(Boolean);
    let servers = 0;
    let shown = 0;
    parts.forEach((part, at) => {
      part.hidden = !words.every((word) => texts[at].includes(word));
      if (part.className === "server") {
        servers += 1;
        shown += part.hidden ? 0 : 1;
      }
    });
    said.textContent = words.length ? `${shown} of ${servers} servers` : "";
  };

  const openTarget = () => {
    const target = location.hash && document.getElementById(location.hash.slice(1));
    if (!target || target.tagName !== "DETAILS") return;
    target.hidden = false;
    target.open = true;
    target.scrollIntoView();
  };

  filter.hidden = false;
  input.addEventListener("input", show);
  addEventListener("hashchange", openTarget);
  addEventListener("beforeprint", () => {
    for (const details of document.querySelectorAll("details")) details.open = true;
  });
  openTarget();
})();
