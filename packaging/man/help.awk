# Turns what "kvtctl COMMAND --help" prints into a subsection in mdoc(7).

function escaped(text) {
  gsub(/\\/, "\\e", text)
  gsub(/-/, "\\-", text)
  gsub(/"/, "\\(dq", text)
  sub(/^[.']/, "\\\\\\&", text)
  return text
}

function lines(text,   words, i, count, line) {
  count = split(escaped(text), words, " ")
  line = words[1]
  for (i = 2; i <= count; ++i) {
    if (length(line) + length(words[i]) < 78) line = line " " words[i]
    else { print line; line = words[i] }
  }
  if (line != "") print line
}

function endItem() {
  if (item == "") return
  if (item !~ /^-h/) {
    if (!isOpen) print ".Bl -tag -width Ds"
    isOpen = 1
    print ".It " escaped(item)
    lines(meaning)
  }
  item = meaning = ""
}

function endList() {
  endItem()
  if (isOpen) print ".El"
  isOpen = 0
}

/^Usage: / {
  sub(/^Usage: /, "")
  sub(/ \[OPTIONS\]/, "")
  sub(/ SUBCOMMAND$/, "")
  # A bracket at the end would be taken for punctuation.
  print ".Ss " ($0 == "kvtctl" ? "Options of every command" : escaped($0) (/\]$/ ? "\\&" : ""))
  if ($0 != "kvtctl") lines(what ".")
  next
}
/^[A-Z][a-z]+:$/ { endList(); list = $0; next }
/^[^ ]/ { endList(); list = ""; if (what == "") what = $0; next }
/^$/ { endList(); list = ""; next }
(list == "Positionals:" || list == "Options:") && /^  [^ ]/ {
  endItem()
  sub(/^ +/, "")
  at = match($0, /   *[^ ].*$/)
  item = at ? substr($0, 1, at - 1) : $0
  meaning = at ? substr($0, at) : ""
  next
}
list == "Positionals:" || list == "Options:" { sub(/^ +/, ""); meaning = meaning " " $0 }
END { endList() }
