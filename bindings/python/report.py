"""Reports one event of each kind and waits until they are sent.

    python report.py [path of tav.dll]
"""

import sys

import tav


def main():
    library = tav.Library(sys.argv[1]) if len(sys.argv) > 1 else tav.Library.beside_program()
    library.add_product_info("Edition", "Pro")
    with library.run("BindingHost", "1.0", "1.0.0.1", tav.LANGUAGE_EN_US):
        library.new_event("DocumentOpened").add("File", "Übersicht 四.md").add("Pages", 12).log()

        with library.session_begin() as session:
            session.log_place("Editor")
            session.new_command_event("Save").log()
            session.new_error_event("E1", "full").add_trace_item("Write", "io").log()
            session.increment_counter("Words", "bad")
            session.flush_aggregates()
        try:
            session.log_idle()
        except tav.Consumed:
            library.new_event("SecondUseRefused").log()

        component = library.component("Spelling", "1.3")
        component.new_event("Checked").add("Words", 200).log()
        component.release()

        sent = library.commit() == 0
    print("The events were sent." if sent else "Not everything was sent.")
    return 0 if sent else 1


if __name__ == "__main__":
    sys.exit(main())
