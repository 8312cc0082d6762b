#pragma once

#include "htmlview.h"

#include <functional>
#include <memory>

class Clock;
class Operator;
class ProgramFolder;
class SendMail;
class Spreadsheet;
class WebFetch;
class Yield;

/// What the main window and the windows it opens need of the world outside. Everything must outlive
/// the main window.
struct MainSeams {
    const ProgramFolder &folder;
    Operator &op;
    Clock &clock;
    Yield &yield;
    WebFetch &web;
    Spreadsheet &spreadsheet;
    HtmlViewFactory makeHtmlView;
    std::function<std::unique_ptr<SendMail>()> makeMail;
};
