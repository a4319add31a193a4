#include "sdk/gui/PvTerminalIPEngineWnd.h"

#include <utility>

#include "sdk/gui/terminal_content.h"

using vex::gui::TerminalContent;

PvTerminalIPEngineWnd::PvTerminalIPEngineWnd() : PvTerminalIPEngineWnd(std::make_shared<TerminalContent>()) {}

PvTerminalIPEngineWnd::PvTerminalIPEngineWnd(std::shared_ptr<TerminalContent> content)
    : PvWnd(content), content_(std::move(content))
{}

PvTerminalIPEngineWnd::~PvTerminalIPEngineWnd() { content_->end(); }

PvResult PvTerminalIPEngineWnd::SetDevice(PvDevice* aDevice) { return content_->set_device(aDevice); }

PvResult PvTerminalIPEngineWnd::SetSerialPort(PvIPEngineSerial aPort) { return content_->set_port(aPort); }

PvIPEngineSerial PvTerminalIPEngineWnd::GetSerialPort() const { return content_->port(); }
