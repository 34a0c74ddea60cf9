# The benchmarked requests: name, method, path, body.
endpoints=(
  "index|GET|/PSIA/index|"
  "deviceInfo|GET|/PSIA/System/deviceInfo|"
  "streaming channels|GET|/PSIA/Streaming/channels|"
  "unmatched path (status 4)|GET|/PSIA/Nothing/here|"
  "PUT timeZone (control exchange)|PUT|/PSIA/System/time/timeZone|JST-9"
)
