// Makes an element, with properties and with children, none of which is ever read as HTML.
export function make(tag, properties, ...children) {
    const element = Object.assign(document.createElement(tag), properties);
    element.append(...children);
    return element;
}
