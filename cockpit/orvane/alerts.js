// Results and notices, shown as on the console's other pages.
import { button, icon, make } from "./dom.js";
import { _ } from "./format.js";

const icons = { success: "check-circle", danger: "exclamation-circle", warning: "lock" };
const labels = { success: _("Success alert:"), danger: _("Danger alert:"), warning: _("Warning alert:") };

export function makeAlert(variant, title, description = "", action = null) {
    const label = make("span", { className: "pf-u-screen-reader" }, labels[variant] + " ");
    const alert = make("div", { className: "pf-c-alert pf-m-inline pf-m-" + variant },
                       make("div", { className: "pf-c-alert__icon" }, icon(icons[variant])),
                       make("h4", { className: "pf-c-alert__title" }, label, title));
    if (action)
        alert.append(make("div", { className: "pf-c-alert__action" }, action));
    if (description)
        alert.append(make("div", { className: "pf-c-alert__description" }, make("p", {}, description)));
    return alert;
}

const place = document.querySelector("#alerts");

// A failure stays until it is closed or something succeeds; a success disappears by itself.
export function tell(variant, title, description = "") {
    const close = button("plain", icon("times"), () => alert.remove(), { ariaLabel: _("Close the alert") });
    const alert = makeAlert(variant, title, description, close);
    place.replaceChildren(alert);
    if (variant === "success")
        setTimeout(() => alert.remove(), 8000);
}
