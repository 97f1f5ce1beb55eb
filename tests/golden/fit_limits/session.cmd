! The limits of a fit: 49 coefficients at most, and two rows for each.
INDAT run
USE IH ID ZH NP CH HF ZE ME MA TF TX FO IE IA HCES HCEC DCES DCEC DNP X2HC HGES HGEC DGES DGEC TFP
USE CA CD4A CD4B CD5A CD5B AN AW NPAE ACES ACEC ECES ECEC NRX NRY AUX1H AUX1X AUX1D AUX1A AUX1S AUX1E AUX2H AUX2X AUX2D AUX2A
FIT                 ! 49 coefficients are accepted, but 16 stars are too few
USE AUX2S
FIT                 ! 50 are refused
LOSE
USE IH ID CH NP ME MA TF
INDAT three
FIT                 ! three stars cannot fix seven coefficients ...
FIX TF
FIT                 ! ... but six, with no degree of freedom left
END
