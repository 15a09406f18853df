# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Reads a C++ header in place of the generator, so that the headers are as short as they are:
#
# - the comment in front of a public declaration is its documentation, a comment behind a field, too; the comment that
#   stands before the guard is the file's; "---- Names: text ----" begins a group of members;
# - a member says which functions of the flat interface it calls, itself or by what it calls in these headers. What a
#   single one does that it calls itself comes first, in that one's words, and the comment says what there is to add;
# - what is deleted is left out, unless a comment says why;
# - "using Owner::Handle" is shown as what it brings along;
# - what is private or in zv::detail is left out.
#
# How the headers are laid out (.clang-format) is relied upon in one point: no line has the end of one declaration and
# the beginning of the next. The lines that the generator names in its errors are those of what is written here.

BEGIN {
  # What a member calls only on its way: that is not what the member does.
  split("zvSocket_htonl zvSocket_htons zvSocket_ntohl zvSocket_ntohs zvSocket_InitSockAddr zv_mnprintf " \
        "zvMonoliticTime_GetTime _zvAssert", names)
  for (i in names) conversion[names[i]]

  list = "ls zvOS/zvOS/cpp/*.hpp"
  while ((list | getline file) > 0) Scan(file)
  close(list)
  file = ARGV[1]
  sub(/.*\//, "", file)
  if (file == "zvOS.hpp") Scan("zvOS/zvOS/zvOS.hpp")
  for (id = 1; id <= count; ++id)
    if (fileOf[id] == file) Show(id)
}

# ---- Reading: each opening and closing of a scope, declaration, and group of members becomes an entry ----

function Add(aKind, aText) {
  ++count
  kindOf[count] = aKind
  textOf[count] = aText
  fileOf[count] = theFile
  commentOf[count] = theComment
  scopeOf[count] = scopes[level]
  hidden[count] = hiding[level]
  theComment = ""
  return count
}

function Enter(aName, afHidden) {
  if (scopes[level] != "" && scopes[level] != "zv" && aName != "detail") aName = scopes[level] "::" aName
  scopes[level + 1] = aName
  hiding[level + 1] = hiding[level] || afHidden
  outside[level + 1] = hiding[level + 1]
  ++level
}

# Without comments and literals.
function Bare(aLine) {
  gsub(/"([^"\\]|\\.)*"/, "\"\"", aLine)
  gsub(/'([^'\\]|\\.)'/, "' '", aLine)
  sub(/ *\/\/.*/, "", aLine)
  return aLine
}

function Scan(aPath, line, bare, pending, whole, open) {
  theFile = aPath
  sub(/.*\//, "", theFile)
  theComment = ""
  level = 0
  while ((getline line < aPath) > 0) {
    bare = Bare(line)
    if (pending == "") {
      if (IsNoDeclaration(line, bare)) continue
      whole = ""
      open = 0
    }
    pending = pending line "\n"
    whole = whole bare " "
    open += gsub(/[({]/, "&", bare) - gsub(/[)}]/, "&", bare)
    if (whole ~ /^ *(template <[^(;]*> *)?(class|struct) [^(;]*\{ *$/) Open(whole)
    else if (open == 0 && bare ~ /[;}] *$/) {
      Add("declaration", pending)
      Name(count, whole)
    } else continue
    pending = ""
  }
  close(aPath)
}

function IsNoDeclaration(aLine, aBareLine, name) {
  if (aLine ~ /^ *$/) theComment = ""
  else if (aLine ~ /^ *\/\/ ---- /) {
    gsub(/^ *\/\/ -+ | -+$/, "", aLine)
    theComment = ""
    Add("group", aLine)
  } else if (aLine ~ /^ *\/\//) {
    sub(/^ *\/\/ ?/, "", aLine)
    theComment = theComment aLine "\n"
  } else if (aLine ~ /^#/) {
    if (aLine ~ /^#ifndef/) Add("file", "")
    theComment = ""
  } else if (aBareLine ~ /^ *(public|private|protected):/) {
    hiding[level] = outside[level] || aBareLine !~ /public/
    Add("access", "")
  } else if (aBareLine ~ /^ *};?$/) {
    --level
    hidden[Add("close", aBareLine ~ /;/ ? "};" : "}")] = outside[level + 1]
  } else if (aBareLine ~ /^namespace /) {
    name = aBareLine
    gsub(/^namespace | \{.*/, "", name)
    Add("open", aBareLine)
    Enter(name, name == "detail")
    hidden[count] = hiding[level]
  } else return 0
  return 1
}

# A class or a record that goes on in the next line.
function Open(aHead, name) {
  sub(/ $/, "", aHead)
  gsub(/\[\[nodiscard\]\] /, "", aHead)
  name = aHead
  gsub(/^ *(template <[^{]*> +)?(class|struct) | final| *( : .*)?\{ *$/, "", name)
  Add("open", aHead)
  Enter(name, 0)
  headOf[scopes[level]] = aHead
  if (aHead ~ /^ *(template.*)?class /) hiding[level] = 1
}

# What is declared, and in which class: that of a definition outside of its class is told by the name.
function Name(anId, aDeclaration, head, name) {
  head = aDeclaration
  sub(/^ */, "", head)
  bareOf[anId] = head
  if (head ~ /^using [A-Za-z:]*::/) {
    kindOf[anId] = "using"
    return
  }
  if (head ~ /^(class|struct) [A-Za-z]*; *$/) {
    kindOf[anId] = "forward"
    return
  }
  sub(/^template <[^(;{]*> /, "", head)
  name = head
  if (head ~ /^(using|enum) |^struct [A-Za-z]* \{/) {
    gsub(/^(using|enum( class)?|struct) |\[\[nodiscard\]\] | *[={;].*/, "", name)
  } else if (head ~ /^[^=({]*operator/) {
    sub(/\(.*/, "", name)
    sub(/.*[^A-Za-z]operator/, "operator", name)
  } else {
    sub(/\(.*|;.*| = .*/, "", name)
    sub(/.*[^A-Za-z_:~0-9]/, "", name)
  }
  if (name ~ /^[A-Za-z]+::[A-Za-z]+$/ && head !~ /^enum/) {
    kindOf[anId] = "definition"
    scopeOf[anId] = name
    sub(/::[^:]*$/, "", scopeOf[anId])
    sub(/.*::/, "", name)
  }
  nameOf[anId] = name
  ids[scopeOf[anId], name] = ids[scopeOf[anId], name] " " anId
  if (!index(" " scopesWith[name] " ", " " scopeOf[anId] " ")) scopesWith[name] = scopesWith[name] " " scopeOf[anId]
}

# ---- What a declaration calls: itself, into theNear; by what it calls, too, into theAll; in the order of the code ----

function Calls(anId) {
  split("", visited)
  theNear = theAll = ""
  Gather(anId, 1)
}

function Gather(anId, afNear, code, word, before, own, parts, i, n) {
  if (anId in visited) return
  visited[anId]
  code = bareOf[anId]
  own = 1
  while (match(code, /[A-Za-z_][A-Za-z_0-9]*/)) {
    word = substr(code, RSTART, RLENGTH)
    before = substr(code, 1, RSTART - 1)
    code = substr(code, RSTART + RLENGTH)
    if (own && word == nameOf[anId]) own = 0
    else if (word in exported) {
      if (!index(theAll " ", " " word " ")) theAll = theAll " " word
      if (afNear && !(word in conversion) && !index(theNear " ", " " word " ")) theNear = theNear " " word
    } else {
      n = split(Found(scopeOf[anId], word, before ~ /\.$|->$/), parts, " ")
      for (i = 1; i <= n; ++i) Gather(parts[i], 0)
    }
  }
  # A declaration without a body: its definition stands outside of the class.
  if (kindOf[anId] == "declaration") {
    n = split(ids[scopeOf[anId], nameOf[anId]], parts, " ")
    for (i = 1; i <= n; ++i)
      if (kindOf[parts[i]] == "definition") Gather(parts[i], afNear)
  }
}

# In the scope, in those around it, in zv::detail; a member of another object where only one class has such a member.
function Found(aScope, aWord, afMember, scope, parts) {
  for (scope = aScope; scope != ""; scope = scope ~ /::/ ? substr(scope, 1, match(scope, /::[^:]*$/) - 1) : "") {
    if (aWord == scope || scope ~ "::" aWord "$") return ""
    if ((scope, aWord) in ids) return ids[scope, aWord]
  }
  if (("detail", aWord) in ids) return ids["detail", aWord]
  if (afMember && split(scopesWith[aWord], parts, " ") == 1) return ids[parts[1], aWord]
  return ""
}

function Links(aList, result) {
  result = aList
  gsub(/ /, ", #", result)
  return substr(result, 3)
}

# ---- Writing ----

# A comment as documentation; what is indented in it is code.
function Documentation(aComment, lines, n, i, code, result) {
  code = 0
  n = split(aComment, lines, "\n")
  for (i = 1; i < n; ++i) {
    if ((lines[i] ~ /^  /) != code) {
      code = !code
      result = result (code ? "/// @code{.cpp}\n" : "/// @endcode\n")
    }
    if (code) sub(/^  /, "", lines[i])
    else lines[i] = Text(lines[i])
    result = result "/// " lines[i] "\n"
  }
  return result (code ? "/// @endcode\n" : "")
}

function Text(aText, parts, n, i) {
  aText = prepared(aText)
  gsub(/docs\/cpp\.md/, "@ref cpp", aText)
  n = split(aText, parts, "<")
  aText = parts[1]
  for (i = 2; i <= n; ++i) aText = aText "\\<" parts[i]
  return aText
}

function EndGroup() {
  if (inGroup) print "///@}"
  inGroup = 0
}

function Show(anId, title) {
  if (kindOf[anId] == "file") {
    printf "/// @file\n%s", Documentation(commentOf[anId])
    if (file == "zvOS.hpp") printf "\n/// @namespace zv\n%s", Documentation(commentOf[anId])
    return
  }
  if (kindOf[anId] == "access" || kindOf[anId] == "close") EndGroup()
  if (hidden[anId] || kindOf[anId] ~ /^(access|definition|forward)$/) return
  if (kindOf[anId] == "close") print textOf[anId]
  else if (kindOf[anId] == "group") {
    EndGroup()
    title = textOf[anId]
    sub(/:.*/, "", title)
    print "/// @name " title
    if (sub(/^[^:]*: /, "", textOf[anId])) print "/// " toupper(substr(textOf[anId], 1, 1)) Text(substr(textOf[anId], 2)) "."
    print "///@{\n"
    inGroup = 1
  } else if (kindOf[anId] == "open") ShowScope(anId)
  else if (kindOf[anId] == "using") ShowUsing(anId)
  else ShowDeclaration(anId, commentOf[anId], textOf[anId])
}

# What is in zv::detail and releases what an owner has goes by the function that it calls.
function ShowScope(anId, head, release) {
  head = textOf[anId]
  if (match(head, /detail::[A-Za-z]*/)) {
    release = substr(head, RSTART, RLENGTH)
    Calls(substr(ids["detail", substr(release, 9)], 2))
    sub(release, substr(theAll, 2), head)
  }
  printf "%s", Documentation(commentOf[anId])
  if (match(head, /Owner<.*zv[A-Za-z]*_[A-Za-z]*>/)) {
    release = substr(head, RSTART, RLENGTH - 1)
    sub(/.*[ <]/, "", release)
    print "///\n/// What it owns is released by #" release "."
  }
  if (head !~ /^namespace/) print "/// @headerfile zvOS.hpp zvOS/zvOS.hpp"
  print head
  if (head ~ /^ *(template.*)?class /) print " public:"
}

# Of the twin that logs there is at times only said that it is that.
function Plain(aFunction, plain) {
  plain = aFunction
  sub(/_Debug$/, "_NoDebug", plain)
  return plain in exported ? plain : aFunction
}

# What has neither a comment nor a single function of which it takes the text gets none, and so stops the generator.
function ShowDeclaration(anId, aComment, aDeclaration, brief, lines, n, i) {
  if (aDeclaration ~ /= delete;/ && aComment == "") return
  gsub(/\[\[nodiscard\]\] /, "", aDeclaration)
  Calls(anId)
  brief = theNear != "" || aComment != "" ? theNear : theAll
  brief = split(brief, lines, " ") == 1 && !(lines[1] in conversion) ? lines[1] : ""
  if (brief != "") print "/// @copybrief " Plain(brief) "\n///"
  printf "%s", Documentation(aComment)
  if (theAll != "" && brief aComment != "") print (aComment != "" ? "///\n" : "") "/// Calls " Links(theAll) "."
  # Trailing comments of what has no body: fields, constants, names of types.
  if (aDeclaration !~ /\(/ || aDeclaration ~ /^ *enum/) {
    n = split(aDeclaration, lines, "\n")
    for (i = 1; i < n; ++i) {
      if (match(lines[i], / \/\/ /)) lines[i] = substr(lines[i], 1, RSTART) "///< " Text(substr(lines[i], RSTART + 4))
      print lines[i]
    }
  } else printf "%s", aDeclaration
  print ""
}

function Replaced(aText, aWord, anOther, result, word) {
  while (match(aText, /[A-Za-z_][A-Za-z_0-9]*/)) {
    word = substr(aText, RSTART, RLENGTH)
    result = result substr(aText, 1, RSTART - 1) (word == aWord ? anOther : word)
    aText = substr(aText, RSTART + RLENGTH)
  }
  return result aText
}

# What the base has under the name, with what the base is made of.
function ShowUsing(anId, base, name, derived, head, given, arguments, parameters, parts, numberOf, n, i, j) {
  base = bareOf[anId]
  sub(/^using /, "", base)
  name = base
  sub(/::.*/, "", base)
  gsub(/^[^:]*::|;.*/, "", name)
  derived = scopeOf[anId]
  given = headOf[derived]
  sub(".*[ :]" base "<", "", given)
  sub(/> *\{ *$/, "", given)
  split(given, arguments, ", ")
  given = headOf[base]
  gsub(/^ *template <|> *(class|struct) .*/, "", given)
  numberOf = split(given, parameters, ", ")
  n = split(ids[base, name], parts, " ")
  for (i = 1; i <= n; ++i) {
    head = bareOf[parts[i]]
    # Not what moves and copies the base itself.
    if (head ~ "[( ]" base " *&" || hidden[parts[i]]) continue
    sub(/ = default; *$/, "", head)
    sub(/\) *: .*/, ")", head)
    sub(/ *(\{.*)?;? *$/, "", head)
    for (j = 1; j <= numberOf; ++j) {
      sub(/ = .*/, "", parameters[j])
      sub(/.* /, "", parameters[j])
      head = Replaced(head, parameters[j], arguments[j])
    }
    head = Replaced(head, base, derived)
    ShowDeclaration(parts[i], commentOf[anId] != "" ? commentOf[anId] : commentOf[parts[i]], head ";\n")
  }
}
