# An order of 1,150 positions for the sample invoice, from the shop's articles:
#
#   awk -v positions=1150 -f examples/lists/order.awk examples/data/articles.csv > order.csv
#   marigold lists print INVOICE --records order.csv --header LETTER --footer CARRIED ...
#
# The field BLOCK names the block that a record is printed with.

function cells(line,    text) {
  # The second cell is the only one that may be quoted.
  code = line
  sub(/,.*/, "", code)
  line = substr(line, length(code) + 2)
  if (line ~ /^"/) {
    match(line, /^"([^"]|"")*"/)
    text = substr(line, 1, RLENGTH)
    line = substr(line, RLENGTH + 2)
  } else {
    text = line
    sub(/,.*/, "", text)
    line = substr(line, length(text) + 2)
  }
  price = line
  sub(/,.*/, "", price)
  return text
}

NR > 1 {
  texts[NR - 2] = cells($0)
  codes[NR - 2] = code
  prices[NR - 2] = price
  articles = NR - 1
}

END {
  print "BLOCK,NAME,STREET,TOWN,NUMBER,CODE,TEXT,PIECES,PRICE,AMOUNT,REMARK,SUM,DISCOUNT,PERCENT,CONTACT"
  print "HEAD,Zauner Konditorei,Pfarrgasse 7,Bad Ischl,4711,,,,,,,,,,"
  for (i = 0; i < positions; ++i) {
    article = i % articles
    pieces = i % 12 + 1
    amount = pieces * prices[article]
    sum += amount
    remark = i % 25 == 24 ? "partly delivered in advance" : ""
    printf "ITEM,,,,,%s,%s,%d,%s,%.2f,%s,,,,\n", codes[article], texts[article], pieces, prices[article], amount, remark
  }
  printf "SUM,,,,,,,,,,,%.2f,%.2f,3,Frau Gruber\n", sum * 0.97, -sum * 0.03
}
