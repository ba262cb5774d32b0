# keys.awk PAGE DUMP: the page, in mdoc(7), with the keys that "kvt-server --dump-config" explains in the place of @KEYS@.

function escaped(text) {
  gsub(/\\/, "\\e", text)
  gsub(/-/, "\\-", text)
  gsub(/"/, "\\(dq", text)
  sub(/^[.']/, "\\\\\\&", text)
  return text
}

function endSection() {
  if (inSection) keys = keys ".El\n"
}

function appendLines(text,   words, i, count, line) {
  count = split(text, words, " ")
  line = words[1]
  for (i = 2; i <= count; ++i) {
    if (length(line) + length(words[i]) < 78) line = line " " words[i]
    else { keys = keys line "\n"; line = words[i] }
  }
  keys = keys line "\n"
}

# Sentences begin on lines of their own, as mandoc wants them.
function flushMeaning(   sentences, i, count) {
  gsub(/\. +/, ".\n", meaning)
  count = split(meaning, sentences, "\n")
  for (i = 1; i <= count; ++i) appendLines(escaped(sentences[i]))
  meaning = ""
}

FNR == NR { page[++lines] = $0; next }

/^\[/ {
  endSection()
  keys = keys ".Ss Section " substr($0, 2, length($0) - 2) "\n.Bl -tag -width Ds\n"
  inSection = 1
  next
}
/^# / { meaning = meaning (meaning == "" ? "" : " ") substr($0, 3); next }
/^[a-z_]+ = / { keys = keys ".It Ic " escaped($1) "\n"; flushMeaning() }

END {
  endSection()
  for (i = 1; i <= lines; ++i) {
    if (page[i] == "@KEYS@") printf "%s", keys
    else print page[i]
  }
}
