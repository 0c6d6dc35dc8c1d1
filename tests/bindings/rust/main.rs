//! Has the conversation of conversation.txt from Rust, and shows what the crate does with characters, with misuse and
//! with memory:
//!   talk FILE PART DLL|registered
//!   characters
//!   misuse DLL
//!   leaks REPORTS DLL|registered
mod leaks;
mod misuse;

use std::collections::HashMap;
use std::time::{Duration, SystemTime, UNIX_EPOCH};
use varnel::contract::HRESULT;
use varnel::{Element, Library, Machine, Product, Report, Result, Text, Unmanaged};

fn code<T>(result: &Result<T>) -> HRESULT {
    result.as_ref().err().map_or(0, |error| error.code())
}

fn library(origin: &str) -> Library {
    let library = if origin == "registered" { Library::registered() } else { Library::load(origin) };
    library.unwrap_or_else(|error| panic!("{error}"))
}

/// A line of the conversation: its number and fields.
type Line<'a> = (usize, Vec<&'a str>);

fn open(library: &Library, fields: &[&str]) -> Result<Report> {
    let product = Product {
        software_id: fields[1],
        root_name: fields[2],
        element_name: fields[3],
        name: fields[4],
        version: fields[5],
        family: fields[6],
    };
    let unmanaged = if fields[7] == "refuse" { Unmanaged::Refuse } else { Unmanaged::Drop };
    Report::new(library, &product, unmanaged)
}

fn time(seconds: i64) -> SystemTime {
    let distance = Duration::from_secs(seconds.unsigned_abs());
    if seconds < 0 {
        UNIX_EPOCH - distance
    } else {
        UNIX_EPOCH + distance
    }
}

fn act<'r>(
    report: &'r Report,
    elements: &mut HashMap<&str, Element<'r>>,
    fields: &[&'static str],
) -> Result<()> {
    let mut keep = |made: Result<Element<'r>>| made.map(|element| drop(elements.insert(fields[1], element)));
    let int = |at: usize| fields[at].parse::<i32>().unwrap();
    match fields[0] {
        "machine" => report.add_machine_as(Machine {
            os_name: Some(Text::from(fields[1])),
            user_name: Some(Text::from(fields[2])),
        }),
        "event" => keep(report.add_event_at(fields[2], int(3), int(4), time(fields[5].parse().unwrap()))),
        "machine-element" => keep(report.machine_element()),
        "product-element" => keep(report.product_element()),
        "set" => elements[fields[1]].set_attribute(fields[2], fields[3]).map(drop),
        "number" => elements[fields[1]].set_number(fields[2], fields[3].parse::<i64>().unwrap()).map(drop),
        "child" => {
            let child = elements[fields[2]].add_child(fields[3], fields[4]);
            child.map(|element| drop(elements.insert(fields[1], element)))
        }
        "sibling" => {
            let sibling = elements[fields[2]].add_sibling(fields[3], fields[4]);
            sibling.map(|element| drop(elements.insert(fields[1], element)))
        }
        "save" => report.save(),
        "save-agent" => report.save_agent_event_only(fields[1], fields[2]),
        command => panic!("{command}"),
    }
}

/// Goes on with an open report; returns the line that closes it.
fn with_report(report: &Report, lines: &mut impl Iterator<Item = Line<'static>>) -> usize {
    let mut elements = HashMap::new();
    loop {
        let (number, fields) = lines.next().expect("a report that is not closed");
        if fields[0] == "close" {
            return number;
        }
        println!("{number} 0x{:08X}", code(&act(report, &mut elements, &fields)));
    }
}

fn talk(file: &str, part: &str, origin: &str) {
    let library = library(origin);
    let text: &'static str = Box::leak(std::fs::read_to_string(file).unwrap().into_boxed_str());
    let head = format!("[{part}]");
    let mut lines = (1..)
        .zip(text.split('\n'))
        .skip_while(|(_, line)| *line != head)
        .skip(1)
        .take_while(|(_, line)| !line.starts_with('['))
        .filter(|(_, line)| !line.is_empty() && !line.starts_with(['#', '=']))
        .map(|(number, line)| (number, line.split('|').collect::<Vec<_>>()));
    while let Some((number, fields)) = lines.next() {
        let opened = open(&library, &fields);
        println!("{number} 0x{:08X}", code(&opened));
        if let Ok(report) = opened {
            let number = with_report(&report, &mut lines);
            println!("{number} 0x{:08X}", code(&report.close()));
        }
    }
}

/// x: no text may hold it; otherwise a name may begin with it (s), hold it (i), or not (-).
fn class_of(code_point: u32) -> char {
    let mut text = vec![u16::from(b'a')];
    match char::from_u32(code_point) {
        Some(one) => text.extend_from_slice(one.encode_utf16(&mut [0; 2])),
        None => text.push(code_point as u16), // half of a surrogate pair
    }
    if Text::from_utf16(&text).status() < 0 {
        'x'
    } else if Text::from_utf16(&text[1..]).status_as_name() == 0 {
        's'
    } else if Text::from_utf16(&text).status_as_name() == 0 {
        'i'
    } else {
        '-'
    }
}

fn show_characters() {
    let mut first = 0;
    for next in 1..=0x110000 {
        if next == 0x110000 || class_of(next) != class_of(first) {
            println!("{:X}-{:X} {}", first, next - 1, class_of(first));
            first = next;
        }
    }
}

fn main() {
    let arguments: Vec<String> = std::env::args().skip(1).collect();
    match arguments.iter().map(String::as_str).collect::<Vec<_>>()[..] {
        ["talk", file, part, origin] => talk(file, part, origin),
        ["characters"] => show_characters(),
        ["misuse", dll] => misuse::show(dll),
        ["leaks", reports, origin] => leaks::show(reports.parse().unwrap(), &library(origin)),
        _ => panic!("not understood"),
    }
}
