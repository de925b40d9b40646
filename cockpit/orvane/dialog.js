// Dialogs: the browser's own, which keep the focus, in the console's style.
import { button, icon, make } from "./dom.js";
import { makeAlert } from "./alerts.js";
import { _ } from "./format.js";

// action does the dialog's work; while it runs nothing can be clicked, and its failure is shown. tell replaces the
// alert for failures that have a better place. Returns the element.
export function openDialog({ title, body, actionText, action, danger = false, tell = () => false, closed = () => {} }) {
    const alerts = make("div", { role: "alert" });
    const heading = make("h1", { className: "pf-c-modal-box__title", id: "dialog-title" }, title);
    const form = make("form", { className: "pf-c-form", id: "dialog-form", noValidate: true }, ...body);
    const act = button(danger ? "danger" : "primary", actionText, null, { type: "submit", ":form": "dialog-form" });
    const cancel = button("link", _("Cancel"), () => dialog.close());
    const close = button("plain", icon("times"), () => dialog.close(), { ariaLabel: _("Close") });
    const dialog = make("dialog", { className: "pf-c-modal-box pf-m-align-top", ":aria-labelledby": "dialog-title" },
                        close,
                        make("header", { className: "pf-c-modal-box__header" }, heading),
                        make("div", { className: "pf-c-modal-box__body" }, alerts, form),
                        make("footer", { className: "pf-c-modal-box__footer" }, act, cancel));
    form.addEventListener("submit", async event => {
        event.preventDefault();
        if (act.disabled) // after a double click
            return;
        act.disabled = true;
        try {
            await action();
            dialog.close();
        } catch (failure) {
            alerts.replaceChildren(...tell(failure) ? [] : [makeAlert("danger", _("It did not work"), failure.message)]);
        }
        act.disabled = false;
    });
    dialog.addEventListener("close", () => {
        dialog.remove();
        closed();
    });
    document.body.append(dialog);
    dialog.showModal();
    return dialog;
}

export function ask(title, question, actionText, action) {
    openDialog({ title, body: [make("p", {}, question)], actionText, action, danger: true })
        .querySelector(".pf-m-link").focus();
}
