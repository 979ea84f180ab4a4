// The console's pages: the main window's settings panels and every other
// window of the program, each described by its fields and buttons. The
// renderer in console.js draws a page from its description.
//
// An item is one of:
//   {type: "text"|"number"|"area", field, index?, label, list?, readonly?}
//   {type: "check", field, index?, label}        a 0/1 tick
//   {type: "checks", field, labels}               a row of ticks over an array
//   {type: "radio", field, labels}                one of several, by index
//   {type: "options", field, labels}              option buttons over an array:
//                                                 the one picked True (-1)
//   {type: "show", field, label?}                 a read-only line
//   {type: "pre", field}                          a read-only block of text
//   {type: "list", field, label, pick?, remove?}  a list; `pick` is the field
//                                                 its selection sets, `remove`
//                                                 the command that drops it
//   {type: "pairs", caps, vals, red?}             caption and value columns
//   {type: "rows", field}                         tab-parted rows as a table
//   {type: "charts", field, scales}               strip charts over arrays
//   {type: "slots"}                               the five monitor slots
//   {type: "buttons", items: [[command, caption], ...]}
// `list` on a text names the model's list of values the box offers.
"use strict";

// The five monitor slots' fields: slot 0 has no number in its names.
const slotName = (base, i) => (i === 0 ? base : base + (i + 1));

const SAVE_CANCEL = {type: "buttons", items: [["Command1", "Save"], ["Command7", "Cancel"]]};

// The bandwidth journal, daily or monthly as its menu set it.
const BANDWIDTH = [
  {type: "show", field: "Caption"},
  {type: "pre", field: "Text1"},
  {type: "buttons", items: [["Command2", "Write summary"], ["Command3", "Close"]]},
];

const PAGES = [
  {
    id: "remotes", title: "Remotes", form: "MainFrm", show: "Command4",
    about: "The five monitor slots: the port each listens on, its password and user, and the " +
      "back-up port. A port below 1000 leaves the slot unconfigured. Save puts the slots into " +
      "effect and drops any monitor that is connected.",
    items: [
      {type: "slots"},
      {type: "text", field: "SrvCODE", label: "Server code"},
      {type: "buttons", items: [["Generate(5)", "Generate code"]]},
      SAVE_CANCEL,
    ],
  },
  {
    id: "file-backup", title: "File Back-up", form: "MainFrm", show: "Command5",
    about: "The folders and files the back-up takes. Add puts the folder (with or without its " +
      "sub-folders) or the files named into the list; Remove takes the entry picked out of it.",
    items: [
      {type: "text", field: "Text1", label: "Back-up to folder"},
      {type: "text", field: "Dir3", label: "Folder"},
      {type: "check", field: "Check14", label: "With sub-folders"},
      {type: "area", field: "File3", label: "Or these files of the folder (one a line)"},
      {type: "show", field: "Text4", label: "Size"},
      {type: "show", field: "Label7", label: "Free on the back-up drive"},
      {type: "buttons", items: [["Command10", "Add"]]},
      {type: "list", field: "List2", label: "Back-up list", pick: "List2Index",
       remove: "List2.DblClick"},
      SAVE_CANCEL,
    ],
  },
  {
    id: "settings", title: "Settings", form: "MainFrm", show: "Command6",
    items: [
      {type: "text", field: "SName", label: "Server name"},
      {type: "check", field: "Check3", index: 0, label: "Start at boot"},
      {type: "check", field: "Check3", index: 2, label: "Start server monitor"},
      {type: "check", field: "Check3", index: 1, label: "Sent logs"},
      {type: "check", field: "Check1", label: "Back-up to remotes"},
      {type: "text", field: "BUFreq", label: "Back-up every (minutes)", list: "BUFreqList"},
      {type: "options", field: "SendOpt", labels: ["Send every 24 hours", "Send every 6 hours"]},
      {type: "text", field: "UpBW", label: "Upload bandwidth", list: "UpBWList"},
      {type: "text", field: "DnBW", label: "Download bandwidth", list: "DnBWList"},
      SAVE_CANCEL,
    ],
  },
  {
    id: "close-programs", title: "Close Programs", form: "MainFrm", show: "Command8",
    about: "The programs closed before a full back-up and started again after it, with their " +
      "command lines, and the daily time of closing and restarting.",
    items: [
      ...[0, 1, 2, 3].flatMap((i) => [
        {type: "text", field: "CloseME", index: i, label: "Program " + (i + 1)},
        {type: "text", field: "CmdLine", index: i, label: "Command line " + (i + 1)},
      ]),
      {type: "check", field: "CloseCHK", label: "Restart programs"},
      {type: "text", field: "CRTime", label: "Close and restart at (hhmm)", list: "CRTimeList"},
      {type: "list", field: "Programlist", label: "Running programs"},
      SAVE_CANCEL,
    ],
  },
  {
    id: "bottlenecks", title: "Bottleneck Monitoring", form: "MainFrm", show: "Command9",
    items: [
      {type: "checks", field: "BNMonitor", labels: [
        "Processor", "Memory", "Hard drive", "Network", "SQL", "Firewall", "Web service",
        "Web proxy", "Proxy server", "Server general", "Report each only once", "User programs"]},
      SAVE_CANCEL,
    ],
  },
  {
    id: "frmServer", title: "Server Performance Data", form: "frmServer", menu: "mnuservermon",
    items: [
      {type: "pairs", caps: "LeftCap", vals: "LeftVal"},
      {type: "pairs", caps: "RightCap", vals: "RightVal"},
      {type: "number", field: "Top", label: "Top"},
      {type: "number", field: "Left", label: "Left"},
      {type: "buttons", items: [["mnuset", "Preferences"], ["mnuhide", "Hide ME"],
                                ["mnucloseme", "Close ME"], ["mnuquit", "Close ALL"]]},
    ],
  },
  {
    id: "frmShowBN", title: "Monitor BottleNeck Data", form: "frmShowBN", menu: "mnuserverdata",
    items: [
      {type: "pairs", caps: "Label1", vals: "BNVal", red: "BNValRed"},
      {type: "show", field: "Width", label: "Width"},
    ],
  },
  {
    id: "frmBNTracking", title: "BottleNecks Tracked", form: "frmBNTracking", menu: "mnuBN",
    items: [{type: "pre", field: "Text1"}],
  },
  {
    id: "bandwidth-daily", title: "Daily Bandwidth", form: "frmBWSum", menu: "mnubw",
    items: BANDWIDTH,
  },
  {
    id: "bandwidth-monthly", title: "Monthly Bandwidth", form: "frmBWSum", menu: "mnubwm",
    items: BANDWIDTH,
  },
  {
    id: "CPUGraph", title: "CPU Usage", form: "CPUGraph", menu: "mnuCPUUse",
    about: "The processor's averages of the past 60 seconds, 60 minutes and 24 hours, drawn as " +
      "the window opens.",
    items: [{type: "charts", field: "CPUU", scales: [100, "ScaleSent", "ScaleSent"],
             titles: ["60 seconds", "60 minutes", "24 hours"]}],
  },
  {
    id: "sendmsg", title: "Send Message to Monitors", form: "sendmsg",
    items: [
      {type: "area", field: "Text1", label: "Message"},
      {type: "area", field: "Text2", label: "Summary"},
      {type: "check", field: "Check1", label: "Send the summary too"},
      {type: "checks", field: "sendto",
       labels: ["Slot 1", "Slot 2", "Slot 3", "Slot 4", "Slot 5", "All"]},
      {type: "show", field: "MessageBusy", label: "Sending"},
      {type: "show", field: "MessageSize"},
      {type: "show", field: "SummarySize"},
      {type: "show", field: "TotalSize"},
      {type: "buttons", items: [["Send", "Send"], ["Clear Msg", "Clear Msg"],
                                ["Command4", {field: "Command4"}], ["Quit", "Quit"]]},
    ],
  },
  {
    id: "email", title: "SMTP Email Utility", form: "email",
    items: [
      {type: "text", field: "SMTP", label: "SMTP server", list: "Servers"},
      {type: "text", field: "SMTPPort", label: "Port"},
      {type: "show", field: "DNS", label: "DNS server"},
      {type: "text", field: "EFrom", label: "From"},
      {type: "text", field: "ESubject", label: "Subject"},
      {type: "area", field: "EBody", label: "Text"},
      {type: "check", field: "autosend", label: "Auto Email Daily"},
      {type: "check", field: "Check1", label: "Include Summary"},
      {type: "checks", field: "include", labels: ["History", "PC Info", "Performance Info",
                                                  "Process Info", "Error Info (Last 20)",
                                                  "OperSys Info"]},
      {type: "text", field: "addname", label: "Address", click: "addname"},
      {type: "buttons", items: [["Add", "Add"]]},
      {type: "list", field: "List1", label: "Recipients", pick: "ListIndex", remove: "List1"},
      {type: "pre", field: "txtstatus"},
      {type: "buttons", items: [["Send Now", "Send Now"], ["Save", "Save"],
                                ["Send Direct", "Send Direct"], ["Quit", "Quit"]]},
    ],
  },
  {
    id: "tracking", title: "Setup Web Tracking", form: "tracking", menu: "mnuWeb",
    about: "A folder button takes the folder typed under Folder chosen; an add button takes " +
      "the files typed under Files chosen (a folder, then file names, a line each).",
    items: [
      {type: "show", field: "Text5"},
      {type: "check", field: "Check1", label: "Tracking on"},
      {type: "radio", field: "Option1", labels: ["Every 5 minutes", "Every 10 minutes",
                                                 "Every half hour", "Every hour",
                                                 "Noon and midnight", "Midnight only"]},
      {type: "show", field: "DialogTitle", label: "Last dialog"},
      {type: "show", field: "DialogStart", label: "Started in"},
      {type: "text", field: "FolderChoice", label: "Folder chosen"},
      {type: "area", field: "FileChoice", label: "Files chosen"},
      ...[1, 2, 3, 4].flatMap((n) => [
        {type: "text", field: "Text" + n, label: "Log folder " + n},
        {type: "buttons", items: [["Folder" + n, "Folder…"], ["Add" + n, "Add files…"]]},
        {type: "list", field: "List" + n, label: "Tracked " + n},
      ]),
      {type: "list", field: "List5", label: "Old logs"},
      {type: "text", field: "Text6", label: "Statistics page folder"},
      {type: "buttons", items: [["Folder5", "Folder…"]]},
      {type: "buttons", items: [["Command1", "Save"], ["Command2", "Update file sizes"]]},
    ],
  },
  {
    id: "ViewStats", title: "Download/WebSite Statistics", form: "ViewStats",
    items: [
      {type: "rows", field: "Rows"},
      {type: "check", field: "Auto Refresh", label: "Auto Refresh", command: "Auto Refresh"},
      {type: "show", field: "Label1"},
      {type: "buttons", items: [["Refresh Now", "Refresh Now"]]},
    ],
  },
];

// Commands that ask the operator first: the question, and when it is asked.
const QUESTIONS = {
  "tracking Command1": {
    text: "Since this is the First Time Tracking, would you like to extract data from old log " +
      "files (This will take a while)?",
    when: (model) => !model.TrackEnabledText,
  },
};
