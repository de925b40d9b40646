// Makes ../orvane/patternfly.css: of PatternFly as the console has it, what the page names.
// build.mjs MODULES [--check], where MODULES is the node_modules that 'npm ci' has made of the files beside this one.
// It is checked in, so that neither a build nor a package needs the network, and what is installed can be read here.
import { readFileSync, readdirSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { resolve } from "node:path";

const modules = resolve(process.argv[2]);
const check = process.argv[3] === "--check";
const postcss = createRequire(modules + "/")("postcss");
const page = new URL("../orvane/", import.meta.url);
const source = path => readFileSync(`${modules}/@patternfly/${path}`, "utf8");

const text = readdirSync(page).filter(name => /\.(js|css|html)$/.test(name) && !/^po\.|^patternfly/.test(name))
    .map(name => readFileSync(new URL(name, page), "utf8")).join("\n");
// The kinds of buttons and alerts are named without what they have in common.
const words = new Set([...text.match(/pf-[\w-]+/g),
                       ...["danger", "link", "plain", "primary", "secondary", "success", "warning"].map(kind => "pf-m-" + kind)]);

const components = ["Alert", "Backdrop", "Button", "Card", "Check", "DescriptionList", "EmptyState", "Form", "FormControl",
                    "Label", "ModalBox", "Page", "Radio", "Switch", "Table", "Title", "Toolbar"];
const dashed = name => name.replace(/\B[A-Z]/g, letter => "-" + letter).toLowerCase();
const sheets = ["patternfly-base.css", ...components.map(name => `components/${name}/${dashed(name)}.css`),
                "components/Table/table-grid.css"];
const root = postcss.parse(sheets.map(path => source("patternfly/" + path)).join("\n"));

const kept = selector => (selector.match(/\.[\w-]+/g) || []).every(name =>
    name === ".pf-theme-dark" || words.has(name.slice(1))) && !/pf-t-|pf-m-dark-/.test(selector);

root.walkComments(comment => comment.remove());
root.walkAtRules("font-face", rule => rule.remove());
root.walkRules(rule => {
    if (rule.parent.type === "atrule" && rule.parent.name === "keyframes")
        return;
    const left = rule.selectors.filter(kept);
    left.length ? rule.selectors = left : rule.remove();
});

// A property of which nothing is made is dropped, and then those that were for it alone.
for (let before = -1, count = 0; before !== count; ) {
    before = count;
    const used = new Set((root.toString() + text).match(/var\(\s*--[\w-]+/g).map(use => use.replace(/var\(\s*/, "")));
    root.walkDecls(/^--/, declaration => {
        if (!used.has(declaration.prop)) {
            declaration.remove();
            count++;
        }
    });
}
const animated = root.toString();
root.walkAtRules("keyframes", rule => new RegExp(`animation[^;]*${rule.params}`).test(animated) || rule.remove());
root.walk(node => {
    if (node.nodes && node.nodes.length === 0)
        node.remove();
});
for (const rule of [...root.nodes])
    if (rule.type === "atrule" && rule.nodes?.length === 0)
        rule.remove();

root.walk(node => {
    Object.assign(node.raws, { before: "", after: "", between: node.type === "decl" ? ":" : "", semicolon: false });
    if (node.type === "rule")
        node.selector = node.selectors.join(",");
    if (node.type === "decl")
        node.value = node.value.replace(/\s+/g, " ");
});
const licence = "/* PatternFly 4.224.5, MIT licence. Made by cockpit/patternfly/build.mjs: change that. */\n";
const made = licence + root.toString() + "\n";
const file = new URL("patternfly.css", page);
if (!check)
    writeFileSync(file, made);
else if (readFileSync(file, "utf8") !== made)
    throw new Error("patternfly.css is not what build.mjs makes: run it");
