# Turns CHANGELOG.md into the changelog of Debian packages. What is not released belongs to the version
# that is built, and what has no date to the day of the build.
#   awk -v version=1.2.4 -v revision=0local -v date="Tue, 20 May 2025 00:00:00 +0000" -v maintainer="NAME <MAIL>"

function end_item(    words, count, line, i) {
  if (item == "") return
  if (heading != "") printf "%s  [ %s ]\n", (items > 0 ? "\n" : ""), heading
  heading = ""
  ++items
  count = split(item, words, " ")
  line = "  *"
  for (i = 1; i <= count; ++i) {
    if (length(line) + 1 + length(words[i]) > 78) {
      print line
      line = "   "
    }
    line = line " " words[i]
  }
  print line
  item = ""
}

function end_entry() {
  end_item()
  if (entry != "") printf "\n -- %s  %s\n", maintainer, date
}

function begin_entry(name) {
  heading = entry == name ? name : ""
  if (entry == name) return
  end_entry()
  if (entry != "") print ""
  printf "lmimport (%s) bookworm; urgency=medium\n\n", name "-" revision
  entry = name
  items = 0
}

/^## / {
  end_item()
  name = $2
  gsub(/[][]/, "", name)
  begin_entry(name == "Unreleased" ? version : name)
  next
}
/^### / { end_item(); heading = substr($0, 5); next }
/^- / { end_item(); item = substr($0, 3); next }
/^  / { if (item != "") item = item $0; next }
END { end_entry() }
