// The console's notice of limited access, with its button.
/* global cockpit */
import { button, make } from "./dom.js";
import { makeAlert, tell } from "./alerts.js";
import { openDialog } from "./dialog.js";
import { _ } from "./format.js";
import { admin } from "./host.js";

const place = document.querySelector("#access");

// The console's bridge asks for a password, or whatever else it needs, and repeats the question after a wrong answer.
function authenticate() {
    const superuser = cockpit.dbus(null, { bus: "internal" }).proxy("cockpit.Superuser", "/superuser");
    let dialog = null;
    let answered = () => {};
    const answer = () => new Promise((resolve, reject) => {
        answered = failure => failure ? reject(failure) : resolve();
        superuser.Answer(dialog.querySelector("input").value);
    });
    const prompt = (_event, message, question, _value, echo, error) => {
        const input = make("input", { className: "pf-c-form-control", id: "answer", type: echo ? "text" : "password",
                                      autocomplete: "off" });
        const label = make("label", { className: "pf-c-form__label", htmlFor: "answer" }, question || _("Password"));
        const group = make("div", { className: "pf-c-form__group" }, message ? make("p", {}, message) : "", label, input);
        if (dialog) {
            answered(new Error(error || _("That was not it.")));
            dialog.querySelector("form").replaceChildren(group);
        } else {
            dialog = openDialog({ title: _("Switch to administrative access"), body: [group], actionText: _("Authenticate"),
                                  action: answer, closed: () => superuser.Current === "root" || superuser.Stop() });
        }
        input.focus();
    };
    superuser.wait(async () => {
        superuser.addEventListener("Prompt", prompt);
        try {
            await superuser.Start(Object.keys(superuser.Methods || {})[0] || superuser.Bridges?.[0] || "sudo");
            location.reload();
        } catch (failure) {
            answered();
            dialog?.close();
            if (!/cancelled/.test(failure.message))
                tell("danger", _("Problem becoming administrator"), failure.message);
        }
        superuser.removeEventListener("Prompt", prompt);
    });
}

function show() {
    const action = button("primary", _("Turn on administrative access"), authenticate);
    place.replaceChildren(...admin.allowed === false
        ? [makeAlert("warning", _("Web console is running in limited access mode."), "", action)] : []);
}

admin.addEventListener("changed", show);
show();
