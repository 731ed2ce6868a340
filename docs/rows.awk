# For doxygen only: marks each header as documented, and repeats the comment of a row of members, one
# line below the other, for each of them. A row ends at an empty line, at the next comment, and at
# what needs none: a destructor, what is deleted, what overrides and so has the comment of what it
# overrides. A comment of its own behind a member takes the place of the row's.
NR == 1 { print "/** @file */"; next }
{ match($0, /^ */); indent = RLENGTH }
/^ *\/\/\/ / {
  if (!inComment) comment = ""
  comment = comment $0 "\n"
  column = indent
  inComment = 1
  print
  next
}
/^ *$/ || /^[#}]/ || /^ *(public|private|protected):/ { comment = "" }
indent == column && (/^ *(virtual )?~/ || / (= delete|override);$/) { comment = "" }
{
  # Deeper lines are the bodies of functions, and further lines of a declaration.
  isDeclaration = indent == column && /^ +[A-Za-z]/ && !/^ *(struct|class|friend class) /
  if (ended && !inComment && isDeclaration && !/\/\/\/</) printf "%s", comment
  ended = /[;}]( *\/\/.*)?$/
  inComment = 0
  print
}
