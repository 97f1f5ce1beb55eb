INDAT low
INDAT high
INDAT many
INDAT pole
INDAT minutes
INDAT leap
INDAT month
INDAT cold
INDAT dense
INDAT deep
INDAT soaked
INDAT uv
INDAT lapse
INDAT height
INDAT pressure
END
