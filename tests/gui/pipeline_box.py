"""The message box of a pipeline that is started without a stream."""

DIALOG = "#32770"
WORDS = "m_pipeline=0"


def run(report, desk):
    with desk.client("pipeline") as client:
        started = client.tell("start")
        box = client.window("")
        report.check("a message box waits", box.kind == DIALOG, box.kind)
        words = next((control for control in box.controls if control.text == WORDS), None)
        report.check("it says what is missing", words is not None, f"{box.texts()}")
        buttons = [control for control in box.controls if control.kind == "Button"]
        report.check("it has one button", len(buttons) == 1, f"{[button.text for button in buttons]}")
        if words is not None and buttons:
            places = (words.place, buttons[0].place.inner(3))
            shown = desk.screen.picture_with(lambda picture: all(map(picture.has_text, places)))
            report.check("both can be read", all(map(shown.has_text, places)))
            desk.keep("pipeline_box", box, shown)
        desk.screen.press("Return")
        answer = client.answer(started)[-1]
        failed = answer.startswith("result ") and not answer.startswith("result 0 ")
        report.check("Enter answers it, and the start has failed", failed, answer)
        report.check("the box has gone", not [window for window in client.windows() if window.kind == DIALOG])
        report.check("its program ends", client.ended_well())
