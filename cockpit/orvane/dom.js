// Builds the page's elements. No text is ever parsed as HTML.
import { icons } from "./icons.js";

// Makes an element with properties, attributes, marked by a colon (":aria-label"), and children.
export function make(tag, properties, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(properties))
        if (!name.startsWith(":"))
            element[name] = value;
        else if (value !== null)
            element.setAttribute(name.slice(1), value);
    element.append(...children);
    return element;
}

export function icon(name) {
    const [width, height, path] = icons[name];
    const svg = document.createElementNS("http://www.w3.org/2000/svg", "svg");
    const attributes = { viewBox: `0 0 ${width} ${height}`, width: "1em", height: "1em", fill: "currentColor",
                         "aria-hidden": "true" };
    for (const [key, value] of Object.entries(attributes))
        svg.setAttribute(key, value);
    svg.append(document.createElementNS("http://www.w3.org/2000/svg", "path"));
    svg.firstChild.setAttribute("d", path);
    return svg;
}

// kind: primary, secondary, link, plain, danger.
export function button(kind, text, onclick, properties = {}) {
    return make("button", { type: "button", className: "pf-c-button pf-m-" + kind, onclick, ...properties }, text);
}

export function put(element, text) {
    if (element.textContent !== text)
        element.textContent = text;
}

// A name keeps its own text direction.
export const isolated = text => "\u2068" + text + "\u2069";
