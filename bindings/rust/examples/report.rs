//! Reports one event of each kind and waits until they are sent.

fn main() -> Result<(), String> {
    let library = tav::Library::beside_program()?;
    library.add_product_info("Edition", "Pro");
    let run = library
        .run("BindingHost", "1.0", "1.0.0.1", tav::TAV_LANGUAGE_EN_US)
        .map_err(|status| format!("Tav does not start: status {status}"))?;

    library.new_event("DocumentOpened").add("File", "Übersicht 四.md").add("Pages", 12).log();

    let mut session = library.session_begin();
    session.log_place("Editor");
    session.new_command_event("Save").log();
    session.new_error_event("E1", "full").add_trace_item("Write", "io", "").log();
    session.increment_counter("Words", "bad");
    session.flush_aggregates();
    drop(session);
    // A second use of a handle does not compile.
    library.new_event("SecondUseRefused").log();

    if let Some(component) = library.component("Spelling", "1.3") {
        component.new_event("Checked").add("Words", 200).log();
    }

    let sent = library.commit();
    run.terminate();
    if sent {
        println!("The events were sent.");
        Ok(())
    } else {
        Err("not everything was sent".to_string())
    }
}
