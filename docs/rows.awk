# For doxygen only: marks each header as documented, and repeats the comment of a row of members, one
# line below the other, for each of them.
NR == 1 { print "/** @file */"; next }
/^ *\/\/\// {
  if (!inComment) comment = ""
  comment = comment $0 "\n"
  inComment = 1
  print
  next
}
/^ *$/ || /^[#}]/ || /^ *(public|private|protected):/ { comment = "" }
{
  isDeclaration = $0 ~ /^ +[A-Za-z~\[]/ && $0 !~ /^ *(public|private|protected|friend|using|struct|class|enum|return)\>/
  if (ended && !inComment && isDeclaration) printf "%s", comment
  ended = $0 ~ /[;}]( *\/\/.*)?$/
  inComment = 0
  print
}
