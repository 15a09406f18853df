# SPDX-FileCopyrightText: 2026 the libzvOS authors
# SPDX-License-Identifier: Apache-2.0
#
# Tells what the C++ headers declare for everybody, each type, and namespace, as "type zv::Mutex", as "heir zv::Mutex" when it has members
# of an owner, and each member as "member zv::Mutex lock", once for each overload. Goes by the indentation alone, so that it does not share the mistakes of what makes the
# reference.

function tell(aScope, aLine, name) {
  name = aLine
  sub(/^ +/, "", name)
  if (name ~ /^template <[^(]*>$/ || name ~ /= delete;/ || name ~ /^(struct|class) [A-Za-z]*;/ || name ~ /^enum/) return
  sub(/ +\/\/.*/, "", name)
  sub(/(\) (const )?&*)? \{.*/, "", name)
  if (name ~ /^using ([A-Za-z]*)Owner::.*Owner;/) {
    name = aScope
    gsub(/.*::/, "", name)
  } else if (name ~ /^using .*::/) gsub(/.*::|;/, "", name)
  else if (name ~ /^using |^k[A-Z]/) gsub(/^using | = .*|,$/, "", name)
  else if (match(name, /operator[^(]*/)) name = substr(name, RSTART, RLENGTH)
  else gsub(/\(.*|;| = .*/, "", name)
  if (name !~ /^operator/) sub(/.*[ &*]/, "", name)
  gsub(/ /, "_", name)
  print "member", aScope, name
}

FNR == 1 { space = "zv" }
/^namespace detail \{/ { detail = 1 }
/^\}  \/\/ namespace detail/ { detail = 0 }
detail { next }

/^namespace zv/ && !named++ { print "type zv" }
/^namespace this_thread/ {
  space = "zv::this_thread"
  print "type", space
}
/^\}  \/\/ namespace this_thread/ { space = "zv" }
type == "" && /^(constexpr|inline|void) / && !/ [A-Za-z]+::[A-Za-z]+\(/ { tell(space, $0) }

/^(class|struct|enum class) .*\{$/ {
  type = $0
  gsub(/^(class|struct|enum class) |\[\[nodiscard\]\] | final| :.*| *\{/, "", type)
  type = space "::" type
  public = !/^class/
  print "type", type
  if (/: public [A-Za-z]*Owner</) print "heir", type
  next
}
/^\};/ { type = "" }
type == "" { next }

/^ (public|private):/ { public = /public/ }
!public { next }
/^  (class|struct) [A-Za-z]+ \{/ {
  inner = type "::" $2
  innerPublic = /struct/
  print "type", inner
  if (/\};$/) inner = ""
  next
}
/^   (public|private):/ { innerPublic = /public/ }
/^  \};/ { inner = "" }
inner != "" && innerPublic && /^    [A-Za-z~[]/ { tell(inner, $0) }
inner == "" && /^  [A-Za-z~[]/ { tell(type, $0) }
inner == "" && /^    k[A-Z][A-Za-z_]* = / { tell(type, $0) }
