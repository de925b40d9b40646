cockpit.locale({
 "": {
  "plural-forms": (n) => n != 1,
  "language": "de",
  "language-direction": "ltr"
 },
 "Virtual clocks": [null, "Virtuelle Uhren"],
 "clock": [null, "uhr"],
 "virtual time": [null, "virtuelle zeit"],
 "date": [null, "datum"],
 "speed": [null, "geschwindigkeit"],
 "orvane": [null, "orvane"]
});
